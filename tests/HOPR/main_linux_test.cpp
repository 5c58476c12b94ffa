#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

struct Outcome {
    int status = -1;
    std::string output;
};

// The built program with nothing on stdin; what it prints on stdout. These runs end before any
// socket is opened, so nothing here needs privileges.
Outcome RunHopr(const std::string& arguments) {
    const auto command = "HOPR_REGISTRY_FILE=/nonexistent/hopr.reg '" HOPR_BINARY "' " + arguments +
                         " </dev/null 2>/dev/null";
    FILE* pipe = ::popen(command.c_str(), "r");
    Outcome outcome;
    char buffer[4096];
    for (std::size_t read; (read = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        outcome.output.append(buffer, read);
    }
    const int raw = ::pclose(pipe);
    outcome.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return outcome;
}

TEST(ProgramRun, HelpPrintsTheParseMessageAndTheWholeUsageText) {
    const auto outcome = RunHopr("-h");
    EXPECT_EQ(outcome.status, 16);
    EXPECT_EQ(outcome.output,
              "Failed to parse arguments: This should be caught in your main function, see "
              "examples\n"
              "Hopr Trace Route.\n"
              "Usage: hopr.exe test <Target> --port <Port> --repeats <Repeats> --timeout "
              "<Timeout> --max-unknown <MaxUknown> --log <n|c|f|b> [--interface "
              "<InterfaceAddress>]\n"
              "Explanation:\n"
              "     * <Target>: String. The URL or IP to TCP trace to.\n"
              "     * (-p, --port) <Port>: Unsigned integer. The port.\n"
              "     * (-r, --repeats) <Repeats>: Unsigned integer. The amount of times to repeat "
              "the test on the same hop/node.\n"
              "     * (-t --timeout) <Timeout>: Unsigned integer. The amount of time, in seconds, "
              "to wait before a probe times out.\n"
              "     * (-u, --max-unknown) <MaxUnknown>: Unsigned integer. The maximum amount of "
              "sequential non-responses before HOPR gives up.\n"
              "     * (-l, --log) <n|c|f|b>: String. Logging mode. Pass n for none, c for console "
              "logging, f for file logging, b for both.\n"
              "     * (--interface) <interface-address>: String. Optional. The IPv4 of the "
              "interface to bind to.\n"
              "\n"
              "Example: hopr.exe test example.com -p 80 -r 5 -t 2 -u 5 -l f\n");
}

}  // namespace
