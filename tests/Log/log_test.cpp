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

class RotatingSink : public testing::Test {
protected:
    void SetUp() override {
        directory_ = fs::temp_directory_path() /
                     ("hopr-sink-" + std::to_string(::getpid()) + "-" +
                      testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(directory_);
        fs::create_directories(directory_);
    }
    void TearDown() override { fs::remove_all(directory_); }

    std::string Base() const { return (directory_ / "velmora_hopr.log").string(); }
    std::string Numbered(int i) const {
        return (directory_ / ("velmora_hopr." + std::to_string(i) + ".log")).string();
    }
    static void Write(const std::string& path, const std::string& text) {
        std::ofstream(path) << text;
    }
    static std::string Read(const std::string& path) {
        std::ifstream in(path);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static void Log(spdlog::sinks::sink& sink, const std::string& text) {
        sink.log(spdlog::details::log_msg("t", spdlog::level::info, text));
        sink.flush();
    }

    fs::path directory_;
};

// Records as their bare text.
struct Sink : Log::sinks::rotating_file_sink<std::mutex> {
    Sink(const std::string& base, std::size_t maxSize, std::size_t maxFiles)
        : rotating_file_sink(base, maxSize, maxFiles) {
        set_pattern("%v");
    }
};

// The first rotation closes the gap at 3 and keeps the oldest; the second deletes it.
TEST_F(RotatingSink, ClosesGapsThenShiftsEveryFileAndDeletesTheOldest) {
    for (const int i : {1, 2, 4}) {
        Write(Numbered(i), "file" + std::to_string(i));
    }
    Write(Base(), "base");
    Sink sink(Base(), 8, 4);
    Log(sink, "record");
    EXPECT_EQ(Read(Numbered(3)), "file2");
    EXPECT_EQ(Read(Numbered(4)), "file4");
    Log(sink, "again");
    EXPECT_EQ(Read(Numbered(4)), "file2");
    EXPECT_EQ(Read(Numbered(2)), "base");
    EXPECT_THAT(Read(Numbered(1)), testing::StartsWith("record"));
    EXPECT_THAT(Read(Base()), testing::StartsWith("again"));
}

TEST_F(RotatingSink, ZeroFilesKeepsOnlyTheBaseAndLargeRecordsAreWrittenWhole) {
    Write(Base(), "old");
    {
        Sink sink(Base(), 4, 0);
        Log(sink, "a record much larger than four bytes");
        Log(sink, "again");
        EXPECT_FALSE(fs::exists(Numbered(1)));
        EXPECT_THAT(Read(Base()), testing::StartsWith("again"));
    }  // closed: an open file cannot be removed on every platform

    fs::remove(Base());
    Sink fresh(Base(), 4, 2);
    Log(fresh, "bigger than the limit");
    EXPECT_FALSE(fs::exists(Numbered(1)));  // an empty file is never rotated
}

TEST_F(RotatingSink, FailedRenameThrowsAndLeavesAFreshBaseFile) {
    struct FailingRename : Sink {
        using Sink::Sink;
        bool RenameFile(const std::string&, const std::string&) override { return false; }
    };
    Write(Base(), "full");
    FailingRename sink(Base(), 4, 2);
    EXPECT_THAT(WhatOf<spdlog::spdlog_ex>([&] { Log(sink, "overflow"); }),
                HasSubstr("rotating_file_sink: failed renaming " + Base() + " to " + Numbered(1)));
    EXPECT_EQ(Read(Base()), "");
    EXPECT_THROW(Sink(Base(), 0, 1), spdlog::spdlog_ex);
    EXPECT_THROW(Sink(Base(), 1, 200001), spdlog::spdlog_ex);
    EXPECT_NO_THROW(Sink(Base(), 1, 200000));
}

TEST(GuardedLog, FormatFaultsBecomeOneErrorLineAndMembersComposeTheirTexts) {
    const CapturedLog log;
    Log::GuardedLog::Info(fmt::runtime("{} and {}"), 1);
    EXPECT_THAT(log.Text(), HasSubstr("error GuardedLog() [1] failed formatting log at: "));
    EXPECT_THAT(log.Text(), HasSubstr(":tests/Log/log_test:"));  // the caller
    EXPECT_THAT(log.Text(), testing::Not(HasSubstr(" and ")));
    Log::GuardedLog::ExceptionError(std::runtime_error("boom"), "Winsock error on {}:{}",
                                    "1.2.3.4", 80);
    Log::GuardedLog::Error("Failed {}", "here");
    for (const char* part : {"error Exception logged in function ",
                             "---> Winsock error on 1.2.3.4:80.\nException information ---> "
                             "Exception: boom",
                             "error Error in function ", "---> Failed here"}) {
        EXPECT_THAT(log.Text(), HasSubstr(part));
    }
}

}  // namespace
