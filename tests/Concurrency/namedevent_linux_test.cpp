#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "support/captured_log.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::Concurrency;
using namespace std::chrono_literals;

class NamedEvent : public testing::Test {
protected:
    void SetUp() override {
        directory_ = "/tmp/hopr-events-" + std::to_string(::getpid());
        ::setenv("HOPR_EVENT_DIR", directory_.c_str(), 1);
    }
    void TearDown() override {
        ::unsetenv("HOPR_EVENT_DIR");
        std::filesystem::remove_all(directory_);
    }
    std::string directory_;
};

TEST_F(NamedEvent, ShellWriteSignalsAndTheFifoGoesAwayWithItsCreator) {
    std::string path;
    {
        Event exitEvent(true, false, L"Global\\hopr exit");
        path = Event::PathForName(L"Global\\hopr exit");
        EXPECT_EQ(path, directory_ + "/Global%5Chopr%20exit");
        EXPECT_FALSE(exitEvent.WaitOnEvent(0, false));
        std::thread writer([&] {
            std::this_thread::sleep_for(30ms);
            EXPECT_EQ(std::system(("printf x > '" + path + "'").c_str()), 0);
        });
        EXPECT_TRUE(exitEvent.WaitOnEvent(2000, false));
        writer.join();
        Event opened(true, true, L"Global\\hopr exit");
        EXPECT_TRUE(opened.WaitOnEvent(0, false));  // manual: not consumed by the first wait
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_THAT(WhatOf<Shared::Exception::Win32Exception>(
                    [] { Event missing(true, true, L"nobody-made-this"); }),
                testing::HasSubstr("Failed to create or open event nobody-made-this"));
}

TEST_F(NamedEvent, AFileLeftByAWriteWithNoFifoIsReplacedAndDoesNotStopTheRun) {
    std::filesystem::create_directories(directory_);
    const auto path = Event::PathForName(L"hopr-stop");
    std::ofstream(path) << 'x';
    const CapturedLog log;
    Event exitEvent(true, false, L"hopr-stop");
    EXPECT_TRUE(std::filesystem::is_fifo(path));
    EXPECT_FALSE(exitEvent.WaitOnEvent(0, false));
    EXPECT_THAT(log.Text(), testing::HasSubstr("not a FIFO, a stale stop request"));
}

}  // namespace
