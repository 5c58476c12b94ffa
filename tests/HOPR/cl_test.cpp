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

TEST(CommandLine, TestSubcommandWithLogBeforeOrAfter) {
    const auto after = Parse({"test", "10.0.0.1", "-p", "443", "-r", "3", "-t", "2", "-u", "5",
                              "-l", "f", "--interface", "192.168.1.5"});
    EXPECT_FALSE(after.isJson);
    EXPECT_EQ(after.loggingMode, Log::LoggingMode::File);
    EXPECT_EQ(after.target, L"10.0.0.1");
    EXPECT_EQ(after.port, 443u);
    EXPECT_EQ(after.repeats, 3u);
    EXPECT_EQ(after.timeout, 2u);
    EXPECT_EQ(after.maxUnknown, 5u);
    EXPECT_EQ(after.interfaceAddress, L"192.168.1.5");

    const auto before = Parse({"-l", "b", "test", "10.0.0.1", "-p", "443", "-r", "3", "-t", "2",
                               "-u", "5"});
    EXPECT_EQ(before.loggingMode, Log::LoggingMode::ConsoleAndFile);
    EXPECT_TRUE(before.interfaceAddress.empty());
}

TEST(CommandLine, JsonSubcommandNeedsOnlyTheLogMode) {
    const auto json = Parse({"json", "-l", "n"});
    EXPECT_TRUE(json.isJson);
    EXPECT_EQ(json.loggingMode, Log::LoggingMode::None);
    EXPECT_EQ(json.port, 0u);
    EXPECT_TRUE(json.target.empty());
    EXPECT_EQ(Parse({"-l", "c", "json"}).loggingMode, Log::LoggingMode::Console);
}

TEST(CommandLine, RejectsBadCommandLines) {
    EXPECT_ANY_THROW(Parse({"json"}));
    EXPECT_ANY_THROW(Parse({"-l", "n"}));
    EXPECT_ANY_THROW(Parse({"json", "test", "-l", "n"}));
    EXPECT_ANY_THROW(Parse({"-h"}));
    EXPECT_ANY_THROW(Parse({"test", "10.0.0.1", "-p", "x", "-r", "3", "-t", "2", "-u", "5", "-l", "f"}));
    EXPECT_ANY_THROW(Parse({"test", "10.0.0.1", "-r", "3", "-t", "2", "-u", "5", "-l", "f"}));
    for (const char* mode : {"x", "nn", "N", ""}) {
        EXPECT_THAT(WhatOf([&] { Parse({"json", "-l", mode}); }),
                    testing::HasSubstr("Unknown logging mode option"))
            << mode;
    }
}

}  // namespace
