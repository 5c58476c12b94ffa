#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HOPR/HOPR/hopr-cl.hpp"
#include "support/thrown.hpp"

namespace {

using HOPR::ParseCommandLine;

HOPR::CommandLineArguments Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "hopr");
    return ParseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

TEST(CommandLine, TestSubcommandWithLogBeforeOrAfterAndJsonWithOnlyTheLogMode) {
    const auto after = Parse({"test", "10.0.0.1", "-p", "443", "-r", "3", "-t", "2", "-u", "5",
                              "-l", "f", "--interface", "192.168.1.5"});
    EXPECT_FALSE(after.isJson);
    EXPECT_EQ(after.loggingMode, Log::LoggingMode::File);
    EXPECT_EQ(after.target, L"10.0.0.1");
    EXPECT_EQ(std::vector({after.port, after.repeats, after.timeout, after.maxUnknown}),
              std::vector({443u, 3u, 2u, 5u}));
    EXPECT_EQ(after.interfaceAddress, L"192.168.1.5");
    const auto before = Parse({"-l", "b", "test", "10.0.0.1", "-p", "1", "-r", "1", "-t", "1",
                               "-u", "1"});
    EXPECT_EQ(before.loggingMode, Log::LoggingMode::ConsoleAndFile);
    EXPECT_TRUE(before.interfaceAddress.empty());
    const auto json = Parse({"json", "-l", "n"});
    EXPECT_TRUE(json.isJson);
    EXPECT_EQ(json.loggingMode, Log::LoggingMode::None);
    EXPECT_EQ(Parse({"-l", "c", "json"}).loggingMode, Log::LoggingMode::Console);
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
