// NUL-ended arguments as in /proc/<pid>/cmdline: the parse succeeds or throws a std::exception,
// the only kind the program reports as "Failed to parse arguments". It never starts a trace.

#include <sstream>
#include <string>
#include <vector>

#include "HOPR/HOPR/hopr-cl.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream input(std::string(reinterpret_cast<const char*>(data), size));
    std::vector<std::string> arguments{"hopr"};
    for (std::string argument; std::getline(input, argument, '\0');) {
        arguments.push_back(argument);
    }
    std::vector<const char*> argv;
    for (const auto& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    try {
        HOPR::ParseCommandLine(static_cast<int>(argv.size()), argv.data());
    } catch (const std::exception&) {
    }
    return 0;
}
