#include "lookschedule.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

using milliseconds = LookSchedule::milliseconds;
using std::chrono::seconds;

constexpr std::array<seconds, 6> instants{seconds(1), seconds(2),  seconds(4),
                                          seconds(8), seconds(14), seconds(20)};

} // namespace

void LookSchedule::begin(milliseconds patience, milliseconds second)
{
    m_second = second;
    const auto last = std::lower_bound(instants.begin(), instants.end(), patience);
    m_last = std::min(static_cast<int>(instants.size()), static_cast<int>(last - instants.begin()) + 1);
    m_next = 0;
    m_looked = false;
    m_clock.start();
}

LookSchedule::milliseconds LookSchedule::untilNext() const
{
    const milliseconds due = instants.at(static_cast<std::size_t>(m_next)).count() * m_second;
    return std::max(milliseconds(0), due - milliseconds(m_clock.elapsed()));
}

// A look takes its time: instants that are over by then are not made up for.
void LookSchedule::pass(bool looked)
{
    m_looked = m_looked || looked;
    ++m_next;
    while (m_next + 1 < m_last && untilNext() == milliseconds(0)) {
        ++m_next;
    }
}
