#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Raii/shared.raii-win32handle.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::Concurrency;

// The lab signals named events through their FIFOs, a backslash in the name among them, but
// does not show that a manual one stays signalled for all its waiters.
TEST(NamedEvent, AManualEventStaysSignalledForEveryOpenerAndAMissingOneCannotBeOpened) {
    const auto directory = "/tmp/hopr-events-" + std::to_string(::getpid());
    ::setenv("HOPR_EVENT_DIR", directory.c_str(), 1);
    EXPECT_EQ(Event::PathForName(L"Global\\hopr exit"), directory + "/Global%5Chopr%20exit");
    {
        Event exitEvent(true, false, L"Global\\hopr exit");
        exitEvent.Signal();
        EXPECT_TRUE(exitEvent.WaitOnEvent(0, false));
        EXPECT_TRUE(Event(true, true, L"Global\\hopr exit").WaitOnEvent(0, false));
    }
    EXPECT_THAT(WhatOf<Shared::Exception::Win32Exception>(
                    [] { Event missing(true, true, L"nobody-made-this"); }),
                testing::HasSubstr("Failed to create or open event nobody-made-this"));
    ::unsetenv("HOPR_EVENT_DIR");
    std::filesystem::remove_all(directory);
}

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
