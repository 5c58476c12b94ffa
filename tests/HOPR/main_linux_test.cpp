#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

struct Outcome {
    int status = -1;
    std::string output;
};

// The built program, run as the agent runs it: input on stdin, stdout kept apart from stderr.
// Nothing here needs privileges: these runs end before any socket is opened.
Outcome RunHopr(const std::string& arguments, const std::string& input) {
    const auto directory = std::filesystem::temp_directory_path() /
                           ("hopr-main-test-" + std::to_string(::getpid()));
    std::filesystem::create_directories(directory);
    std::ofstream(directory / "in", std::ios::binary) << input;
    const auto command = "cd '" + directory.string() +
                         "' && HOPR_REGISTRY_FILE=/nonexistent/hopr.reg '" HOPR_BINARY "' " +
                         arguments + " <in >out 2>err";
    Outcome outcome;
    const int raw = std::system(command.c_str());
    outcome.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    std::ostringstream output;
    output << std::ifstream(directory / "out", std::ios::binary).rdbuf();
    outcome.output = output.str();
    std::filesystem::remove_all(directory);
    return outcome;
}

TEST(ProgramRun, HelpPrintsTheParseMessageAndTheWholeUsageText) {
    const auto outcome = RunHopr("-h", "");
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

TEST(ProgramRun, UnreadableInputExits80WithTheErrorText) {
    const auto empty = RunHopr("json -l n", "");
    EXPECT_EQ(empty.status, 80);
    EXPECT_THAT(empty.output, testing::HasSubstr("--> Failed reading line from std::cin"));

    const auto broken = RunHopr("json -l n", "{\"tests\": [\n");
    EXPECT_EQ(broken.status, 80);
    EXPECT_FALSE(broken.output.empty());
    EXPECT_THAT(broken.output, testing::Not(testing::HasSubstr("Failed reading line")));
}

TEST(ProgramRun, InputWithoutTestsExits96AndPrintsNothing) {
    const auto outcome = RunHopr(
        "json -l n",
        "{\"tests\":[],\"isSerialised\":false,\"exitEventName\":\"\",\"minPort\":0,\"maxPort\":0}\n");
    EXPECT_EQ(outcome.status, 96);
    EXPECT_EQ(outcome.output, "");
}

}  // namespace
