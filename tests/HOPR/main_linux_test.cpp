// The built program's exit statuses for what it is handed before any probe: no socket, no lab.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <utility>

namespace {

// The exit status and what it prints on stdout, with `input` on stdin.
std::pair<int, std::string> RunHopr(const std::string& input,
                                    const std::string& arguments = "json -l n") {
    const auto stdinPath = "/tmp/hopr-main-test-" + std::to_string(::getpid());
    std::ofstream(stdinPath, std::ios::binary) << input;
    const auto command = "HOPR_REGISTRY_FILE=/nonexistent/hopr.reg '" HOPR_BINARY "' " + arguments +
                         " <" + stdinPath + " 2>/dev/null";
    FILE* pipe = ::popen(command.c_str(), "r");
    std::string output;
    char buffer[4096];
    for (std::size_t read; (read = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        output.append(buffer, read);
    }
    const int raw = ::pclose(pipe);
    std::remove(stdinPath.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, output};
}

// The usage's text is the Windows acceptance run's; broken JSON is the fuzzers'.
TEST(ProgramRun, BrokenInputEndsWithTheDocumentedStatus) {
    std::string longLine = "[";
    for (int i = 0; i < 5'000'000; ++i) {
        longLine += "1,";
    }
    const struct {
        const char* what;
        std::string input;
        int status;
        const char* output;  // a line of it; for status 80 the exception text
    } cases[] = {
        {"no line at all", "", 80, "Failed reading line from std::cin"},
        {"ten megabyte line", longLine + "1]\n", 80, "Exception in "},
        {"deep nesting", std::string(200'000, '[') + std::string(200'000, ']') + "\n", 80,
         "Exception in "},
        {"a test without its fields", "{\"tests\": [{\"target\": \"x\"}]}\n", 80,
         "WinRT failed parsing JSON"},
        {"no tests, huge numbers",
         "{\"tests\":[],\"isSerialised\":false,\"exitEventName\":\"\",\"minPort\":1e300,"
         "\"maxPort\":-1e300}\n",
         96, ""},
    };
    for (const auto& [what, input, status, output] : cases) {
        const auto [ended, printed] = RunHopr(input);
        EXPECT_EQ(ended, status) << what;
        EXPECT_THAT(printed, testing::HasSubstr(output)) << what;
        EXPECT_TRUE(status != 96 || printed.empty()) << what;
    }
    EXPECT_EQ(RunHopr("", "-h").first, 16);
}

}  // namespace
