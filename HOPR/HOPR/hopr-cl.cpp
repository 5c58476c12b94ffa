#include "HOPR/HOPR/hopr-cl.hpp"

#include <iostream>

#include <CLI/CLI.hpp>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace HOPR {

Log::LoggingMode ParseLogArgument(std::string argument) {
    if (argument.size() == 1) {
        if (argument == "n") {
            return Log::LoggingMode::None;
        }
        if (argument == "c") {
            return Log::LoggingMode::Console;
        }
        if (argument == "f") {
            return Log::LoggingMode::File;
        }
        if (argument == "b") {
            return Log::LoggingMode::ConsoleAndFile;
        }
    }
    throw Shared::Exception::RuntimeError("Unknown logging mode option");
}

CommandLineArguments ParseCommandLine(int argc, const char* const* argv) {
    CommandLineArguments arguments;
    std::string log;
    std::string target;
    std::string interfaceAddress;

    CLI::App app{"Hopr Trace Route", ""};
    app.set_help_flag("-h,--help", "Print this help message and exit");
    app.add_option("--log,-l", log)->required();
    auto* json = app.add_subcommand("json");
    json->fallthrough();
    auto* test = app.add_subcommand("test");
    test->fallthrough();
    test->add_option("target", target)->required();
    test->add_option("--port,-p", arguments.port)->required();
    test->add_option("--repeats,-r", arguments.repeats)->required();
    test->add_option("--timeout,-t", arguments.timeout)->required();
    test->add_option("--max-unknown,-u", arguments.maxUnknown)->required();
    test->add_option("--interface", interfaceAddress);
    app.require_subcommand(1, 1);

    app.parse(argc, argv);

    arguments.loggingMode = ParseLogArgument(log);
    arguments.isJson = json->count() > 0;
    arguments.target = Shared::Util::ConvertStringType(target);
    arguments.interfaceAddress = Shared::Util::ConvertStringType(interfaceAddress);
    return arguments;
}

void PrintUsage() {
    // Narrow stream on purpose: a wide write after a narrow one on the same stdout is lost on
    // Linux (stream orientation), and the text is plain ASCII.
    std::cout
        << "Hopr Trace Route.\n"
        << "Usage: hopr.exe test <Target> --port <Port> --repeats <Repeats> --timeout <Timeout> "
           "--max-unknown <MaxUknown> --log <n|c|f|b> [--interface <InterfaceAddress>]\n"
        << "Explanation:\n"
        << "     * <Target>: String. The URL or IP to TCP trace to.\n"
        << "     * (-p, --port) <Port>: Unsigned integer. The port.\n"
        << "     * (-r, --repeats) <Repeats>: Unsigned integer. The amount of times to repeat the "
           "test on the same hop/node.\n"
        << "     * (-t --timeout) <Timeout>: Unsigned integer. The amount of time, in seconds, to "
           "wait before a probe times out.\n"
        << "     * (-u, --max-unknown) <MaxUnknown>: Unsigned integer. The maximum amount of "
           "sequential non-responses before HOPR gives up.\n"
        << "     * (-l, --log) <n|c|f|b>: String. Logging mode. Pass n for none, c for console "
           "logging, f for file logging, b for both.\n"
        << "     * (--interface) <interface-address>: String. Optional. The IPv4 of the interface "
           "to bind to.\n"
        << "\n"
        << "Example: hopr.exe test example.com -p 80 -r 5 -t 2 -u 5 -l f\n";
    std::cout.flush();
}

}  // namespace HOPR
