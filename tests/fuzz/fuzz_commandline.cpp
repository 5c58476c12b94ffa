// Any arguments after the program's name, each ended by a NUL byte as in /proc/<pid>/cmdline
// (the last may also end at the input's end): parsing either succeeds or throws a
// std::exception, the only kind the program turns into "Failed to parse arguments"; anything
// else would end the run unreported. Only the parse runs here, never a trace.

#include <string>
#include <string_view>
#include <vector>

#include "HOPR/HOPR/hopr-cl.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> arguments{"hopr"};
    while (!input.empty()) {
        const auto end = input.find('\0');
        arguments.emplace_back(input.substr(0, end));
        input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
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
