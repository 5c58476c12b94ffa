#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Raii/shared.raii-win32handle.hpp"
#include "support/captured_log.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::Concurrency;
using namespace std::chrono_literals;

// Named events live in HOPR_EVENT_DIR, here a directory of this test's own.
TEST(NamedEvent, ShellWriteSignalsTheFifoGoesAwayWithItsCreatorAndAStaleFileIsReplaced) {
    const auto directory = "/tmp/hopr-events-" + std::to_string(::getpid());
    ::setenv("HOPR_EVENT_DIR", directory.c_str(), 1);
    std::string path;
    {
        Event exitEvent(true, false, L"Global\\hopr exit");
        path = Event::PathForName(L"Global\\hopr exit");
        EXPECT_EQ(path, directory + "/Global%5Chopr%20exit");
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

    // A file left by a write with no FIFO to read it does not stop the next run.
    const auto stale = Event::PathForName(L"hopr-stop");
    std::filesystem::create_directories(directory);
    std::ofstream(stale) << 'x';
    const CapturedLog log;
    {
        Event exitEvent(true, false, L"hopr-stop");
        EXPECT_TRUE(std::filesystem::is_fifo(stale));
        EXPECT_FALSE(exitEvent.WaitOnEvent(0, false));
    }
    EXPECT_THAT(log.Text(), testing::HasSubstr("not a FIFO, a stale stop request"));
    ::unsetenv("HOPR_EVENT_DIR");
    std::filesystem::remove_all(directory);
}

using namespace Shared::Concurrency;

// A descriptor that reports only hang-up (a pipe's read end) or error (its write end) once made
// the wait poll again at once, for ever.
TEST(WaitsLinux, AHungUpOrFailedDescriptorCountsAsSignalled) {
    for (const int kept : {0, 1}) {
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
        ::close(ends[1 - kept]);
        const Shared::Raii::Win32Handle handle(ends[kept]);
        EXPECT_EQ(WaitFor({handle.Get()}, false, 1000, false), kWaitObject0) << kept;
    }
}

}  // namespace
