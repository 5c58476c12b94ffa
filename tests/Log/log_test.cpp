#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Log/shared.log-rotatingfilesink.hpp"
#include "support/captured_log.hpp"
#include "support/thrown.hpp"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

// Records as their bare text.
struct Sink : Log::sinks::rotating_file_sink<std::mutex> {
    Sink(const std::string& base, std::size_t maxSize, std::size_t maxFiles)
        : rotating_file_sink(base, maxSize, maxFiles) {
        set_pattern("%v");
    }
    void Log(const std::string& text) {
        log(spdlog::details::log_msg("t", spdlog::level::info, text));
        flush();
    }
};

TEST(RotatingSink, ClosesGapsShiftsEveryFileDeletesTheOldestAndThrowsWhenARenameFails) {
    const auto directory = fs::temp_directory_path() / ("hopr-sink-" + std::to_string(::getpid()));
    fs::remove_all(directory);
    fs::create_directories(directory);
    const auto file = [&](int i) {
        return (directory / ("velmora_hopr" + (i > 0 ? "." + std::to_string(i) : "") + ".log"))
            .string();
    };
    const auto read = [](const std::string& path) {
        std::ifstream in(path);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    for (const int i : {1, 2, 4}) {
        std::ofstream(file(i)) << "file" << i;
    }
    {
        Sink sink(file(0), 10, 4);
        sink.Log("bigger than the limit");  // an empty file is never rotated
        EXPECT_FALSE(fs::exists(file(3)));
        sink.Log("record");  // closes the gap at 3 and keeps the oldest
        EXPECT_EQ(read(file(3)), "file2");
        EXPECT_EQ(read(file(4)), "file4");
        sink.Log("again");  // deletes the oldest
        sink.Log("y");      // fits beside "again"
        EXPECT_EQ(read(file(4)), "file2");
        EXPECT_THAT(read(file(2)), StartsWith("bigger"));
        EXPECT_THAT(read(file(1)), StartsWith("record"));
        EXPECT_THAT(read(file(0)), StartsWith("again"));
    }  // closed: an open file cannot be renamed on every platform

    struct FailingRename : Sink {
        using Sink::Sink;
        bool RenameFile(const std::string&, const std::string&) override { return false; }
    };
    EXPECT_THAT(WhatOf<spdlog::spdlog_ex>([&] { FailingRename(file(0), 4, 2).Log("overflow"); }),
                HasSubstr("rotating_file_sink: failed renaming " + file(1) + " to " + file(2)));
    EXPECT_EQ(read(file(0)), "");
    EXPECT_THROW(Sink(file(0), 0, 1), spdlog::spdlog_ex);
    EXPECT_THROW(Sink(file(0), 1, 200001), spdlog::spdlog_ex);
    EXPECT_NO_THROW(Sink(file(0), 1, 200000));
    fs::remove_all(directory);
}

TEST(GuardedLog, FormatFaultsBecomeOneErrorLineAndMembersComposeTheirTexts) {
    const CapturedLog log;
    Log::GuardedLog::Info(fmt::runtime("{} and {}"), 1);
    Log::GuardedLog::ExceptionError(std::runtime_error("boom"), "Winsock error on {}:{}",
                                    "1.2.3.4", 80);
    Log::GuardedLog::Error("Failed {}", "here");
    EXPECT_THAT(log.Text(), testing::Not(HasSubstr(" and ")));
    for (const char* part : {"error GuardedLog() [1] failed formatting log at: ",
                             ":tests/Log/log_test:",  // the caller
                             "error Exception logged in function ",
                             "---> Winsock error on 1.2.3.4:80.\nException information ---> "
                             "Exception: boom",
                             "error Error in function ", "---> Failed here"}) {
        EXPECT_THAT(log.Text(), HasSubstr(part));
    }
}

}  // namespace
