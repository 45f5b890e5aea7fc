// Stands in for the installer's maintenance tool. It notes its process id and arguments in the file
// named by TOOL_LOG, a line for each start, and then does what TOOL_PLAYS says.

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

std::string environment(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

constexpr const char *updates = "<?xml version=\"1.0\"?>\n<updates>\n    <update name=\"Device Manager\"/>\n"
                                "</updates>\n";

void write100MiB(std::ostream &stream)
{
    const std::string block(1048576, 'x');
    for (int i = 0; i < 100; ++i) {
        stream << block;
    }
}

} // namespace

int main(int argc, char *argv[])
{
    {
        std::ofstream log(environment("TOOL_LOG"), std::ios::app);
        log << getpid();
        for (int i = 1; i < argc; ++i) {
            log << ' ' << argv[i];
        }
        log << '\n';
    }
    const std::string plays = environment("TOOL_PLAYS");
    if (plays == "update") {
        std::cout << updates;
    } else if (plays == "no update") {
        std::cout << "There are currently no updates available.\n";
        return 1;
    } else if (plays == "other case") {
        std::cout << "<Updates>\n";
    } else if (plays == "update behind a zero byte") {
        std::cout << "nothing" << '\0' << updates;
    } else if (plays == "crash") {
        std::cout << updates << std::flush;
        std::signal(SIGSEGV, SIG_DFL); // a sanitizer would make an orderly end of it
        std::raise(SIGSEGV);
    } else if (plays == "silence") {
        std::cout << updates << std::flush;
        sleep(600);
    } else if (plays == "much, then an update") {
        write100MiB(std::cout);
        write100MiB(std::cerr);
        std::cout << updates;
    } else if (plays == "much") {
        write100MiB(std::cout);
    } else if (plays == "wait for input") {
        std::string line;
        std::getline(std::cin, line);
    }
    return 0;
}
