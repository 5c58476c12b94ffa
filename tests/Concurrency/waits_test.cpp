#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Concurrency/shared.concurrency-waitabletimer.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Raii/shared.raii-win32handle.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::Concurrency;
using namespace std::chrono_literals;

TEST(Waits, LowestSignalledIndexWinsOnlyTheWinnerIsConsumedAndOneOfTwoWaitersWakes) {
    Event manual(true), firstAuto(false), secondAuto(false);
    secondAuto.Signal();
    firstAuto.Signal();
    manual.Signal();
    for (const auto expected : {0ul, 1ul, kWaitTimeout}) {
        EXPECT_EQ(WaitFor({firstAuto.Handle(), secondAuto.Handle()}, false, 0, false), expected);
    }
    EXPECT_EQ(WaitFor({manual.Handle()}, false, 0, false), 0u);
    EXPECT_TRUE(manual.WaitOnEvent(0, false));  // manual: stays signalled until reset
    manual.Reset();
    EXPECT_FALSE(manual.WaitOnEvent(10, false));

    std::atomic<int> woken = 0;
    auto waiter = [&] { woken += firstAuto.WaitOnEvent(300, false) ? 1 : 0; };
    std::thread a(waiter), b(waiter);
    std::this_thread::sleep_for(50ms);
    firstAuto.Signal();
    a.join();
    b.join();
    EXPECT_EQ(woken.load(), 1);
}

TEST(Waits, HandleCountLimitsAndNullHandles) {
    std::vector<Event> events(65);
    std::vector<Shared::Raii::NativeHandle> handles;
    for (const auto& e : events) {
        handles.push_back(e.Handle());
    }
    events[64].Signal();
    EXPECT_THAT(WhatOf<Shared::Exception::InvalidArgument>([&] { WaitFor(handles, false, 0, false); }),
                testing::HasSubstr("Too many handles to wait on: 65"));
    handles.pop_back();
    EXPECT_EQ(WaitFor(handles, false, 0, false), kWaitTimeout);
    events[63].Signal();
    EXPECT_EQ(WaitFor(handles, false, 0, false), 63u);
    for (const auto& bad : {std::vector<Shared::Raii::NativeHandle>{},
                            std::vector{handles[0], Shared::Raii::kNullHandle}}) {
        EXPECT_THROW(WaitFor(bad, false, 0, false), Shared::Exception::InvalidArgument);
    }
    EXPECT_THROW(WaitFor(Shared::Raii::kNullHandle, 0, false), Shared::Exception::InvalidArgument);
}

TEST(Waits, TimerAtZeroFiresAtOnceFiftyMillisecondsNotEarlyAndCancelledNever) {
    WaitableTimer timer;
    timer.SetTimerInMillis(0, 0);
    EXPECT_TRUE(WaitFor(timer.Handle(), 100, false));
    EXPECT_FALSE(WaitFor(timer.Handle(), 0, false));  // one shot, consumed
    const auto start = std::chrono::steady_clock::now();
    timer.SetTimerInMillis(50, 0);
    EXPECT_TRUE(WaitFor(timer.Handle(), kInfinite, false));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
    timer.SetTimerInMillis(20, 0);
    EXPECT_TRUE(timer.CancelTimer());
    EXPECT_FALSE(WaitFor(timer.Handle(), 60, false));
}

// A copied event is a second handle to the same kernel object, not a second event.
TEST(Handles, AllOnesIsEmptyAndACopyIsTheSameObject) {
    EXPECT_FALSE(Shared::Raii::Win32Handle().IsValid());
    EXPECT_EQ(Shared::Raii::Win32Handle::DuplicatePassedHandle(Shared::Raii::kNullHandle, true),
              Shared::Raii::kNullHandle);
    Event event;
    const Event copy(event);
    EXPECT_NE(copy.Handle(), event.Handle());
    event.Signal();
    EXPECT_TRUE(WaitFor(copy.Handle(), 0, false));
}

}  // namespace
