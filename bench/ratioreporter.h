#pragma once

#include <benchmark/benchmark.h>
#include <map>
#include <string>

// Prints the runs like the usual reporter, without colours, and keeps their times, for a last line
// that says how many times faster one way is than another in the same run.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    RatioReporter() : ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            m_seconds[run.run_name.function_name] =
                run.real_accumulated_time / static_cast<double>(run.iterations);
        }
    }

    // 0 when one of the two was not run.
    double timesFaster(const std::string &fast, const std::string &slow) const
    {
        const auto fastTime = m_seconds.find(fast);
        const auto slowTime = m_seconds.find(slow);
        const bool both = fastTime != m_seconds.end() && slowTime != m_seconds.end();
        return both ? slowTime->second / fastTime->second : 0;
    }

private:
    std::map<std::string, double> m_seconds;
};
