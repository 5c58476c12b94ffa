#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "HOPR/HOPR/hopr-cl.hpp"
#include "support/thrown.hpp"

namespace {

using HOPR::ParseCommandLine;

HOPR::CommandLineArguments Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "hopr");
    return ParseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

// The lab runs `test ... -l f` and `json -l n|c|f`; the log mode may also come first.
TEST(CommandLine, TestSubcommandWithLogBeforeOrAfterAndJsonWithOnlyTheLogMode) {
    const auto test = Parse({"-l", "b", "test", "10.0.0.1", "-p", "443", "-r", "3", "-t", "2",
                             "-u", "5", "--interface", "192.168.1.5"});
    EXPECT_EQ(std::tuple(test.isJson, test.loggingMode, test.target, test.interfaceAddress),
              std::tuple(false, Log::LoggingMode::ConsoleAndFile, std::wstring(L"10.0.0.1"),
                         std::wstring(L"192.168.1.5")));
    EXPECT_EQ(std::vector({test.port, test.repeats, test.timeout, test.maxUnknown}),
              std::vector({443u, 3u, 2u, 5u}));
    const auto json = Parse({"-l", "c", "json"});
    EXPECT_EQ(std::pair(json.isJson, json.loggingMode), std::pair(true, Log::LoggingMode::Console));
}

TEST(CommandLine, RejectsBadCommandLines) {
    const std::vector<std::vector<const char*>> bad = {
        {"json"}, {"-l", "n"}, {"json", "test", "-l", "n"}, {"-h"},
        {"test", "10.0.0.1", "-p", "x", "-r", "3", "-t", "2", "-u", "5", "-l", "f"},
        {"test", "10.0.0.1", "-r", "3", "-t", "2", "-u", "5", "-l", "f"}};
    for (const auto& arguments : bad) {
        EXPECT_ANY_THROW(Parse(arguments)) << arguments[0];
    }
    for (const char* mode : {"x", "nn", "N", ""}) {
        EXPECT_THAT(WhatOf([&] { Parse({"json", "-l", mode}); }),
                    testing::HasSubstr("Unknown logging mode option"))
            << mode;
    }
}

}  // namespace
