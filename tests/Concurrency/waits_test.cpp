#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Concurrency/shared.concurrency-scheduler.hpp"
#include "Shared/src/Concurrency/shared.concurrency-threadsafequeue.hpp"
#include "Shared/src/Concurrency/shared.concurrency-waitabletimer.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Raii/shared.raii-win32handle.hpp"
#include "support/captured_log.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::Concurrency;
using namespace Shared::Raii;
using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(Waits, LowestSignalledIndexWinsOnlyTheWinnerIsConsumedAndOneOfTwoWaitersWakes) {
    Event manual(true), firstAuto(false), secondAuto(false);
    secondAuto.Signal();
    firstAuto.Signal();
    manual.Signal();
    const std::vector all{firstAuto.Handle(), secondAuto.Handle(), manual.Handle()};
    for (const auto expected : {0ul, 1ul, 2ul, 2ul}) {  // the manual one stays signalled
        EXPECT_EQ(WaitFor(all, false, 0, false), expected);
    }
    manual.Reset();
    EXPECT_EQ(WaitFor(all, false, 10, false), kWaitTimeout);

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
    std::vector<NativeHandle> handles;
    for (const auto& e : events) {
        handles.push_back(e.Handle());
    }
    events[64].Signal();
    EXPECT_THAT(
        WhatOf<Shared::Exception::InvalidArgument>([&] { WaitFor(handles, false, 0, false); }),
        HasSubstr("Too many handles to wait on: 65"));
    handles.pop_back();
    EXPECT_EQ(WaitFor(handles, false, 0, false), kWaitTimeout);
    events[63].Signal();
    EXPECT_EQ(WaitFor(handles, false, 0, false), 63u);
    for (const auto& bad : {std::vector<NativeHandle>{}, std::vector{handles[0], kNullHandle}}) {
        EXPECT_THROW(WaitFor(bad, false, 0, false), Shared::Exception::InvalidArgument);
    }
    EXPECT_THROW(WaitFor(kNullHandle, 0, false), Shared::Exception::InvalidArgument);
}

TEST(Handles, DuplicatesAndCopiesKeepInheritability) {
    EXPECT_EQ(Win32Handle::DuplicatePassedHandle(kNullHandle, true), kNullHandle);
    EXPECT_THROW(Win32Handle().SetInheritability(true), Shared::Exception::RuntimeError);
    const Event event;
    Win32Handle duplicate(Win32Handle::DuplicatePassedHandle(event.Handle(), true));
    EXPECT_TRUE(duplicate.IsInheritable());
    duplicate.SetInheritability(false);
    const Win32Handle copy(duplicate);
    EXPECT_NE(copy.Get(), duplicate.Get());
    EXPECT_FALSE(copy.IsInheritable());
}

TEST(ThreadSafeQueue, EventFollowsEmptinessAndItemsComeOutInOrder) {
    ThreadSafeQueue<int> queue;
    const auto waiting = [&] { return WaitFor(queue.ItemsWaiting().Handle(), 0, false); };
    queue.Push(1);
    queue.Push(2);
    EXPECT_TRUE(waiting());
    EXPECT_EQ(queue.EraseOne(0), 1);
    EXPECT_TRUE(waiting());
    EXPECT_EQ(queue.EraseOne(0), 2);
    EXPECT_FALSE(waiting());
    EXPECT_THAT(WhatOf<std::runtime_error>([&] { queue.EraseOne(0); }),
                HasSubstr("Index 0 is out of bounds of 0"));
}

// The program schedules one entry; more show the waits become relative to the previous entry.
TEST(Scheduler, RelativeWaitsOnAOneShotTimerThatIsCancelledAfterTheLast) {
    const CapturedLog log;
    using Entry = Scheduler<int>::Entry;
    Scheduler<int> scheduler(WaitableTimer(),
                             std::vector<Entry>{{0, 1, 50}, {1, 2, 0}, {2, 3, 110}});
    const auto timer = scheduler.Timer().Handle();
    for (const auto ms : {0ms, 50ms}) {
        const auto start = std::chrono::steady_clock::now();
        scheduler.ScheduleNext();
        EXPECT_TRUE(WaitFor(timer, 1000, false));
        EXPECT_GE(std::chrono::steady_clock::now() - start, ms);
        EXPECT_FALSE(WaitFor(timer, 0, false));  // one shot, consumed
    }
    scheduler.ScheduleNext();
    scheduler.ScheduleNext();
    EXPECT_FALSE(WaitFor(timer, 100, false));
    EXPECT_THAT(log.Text(), HasSubstr("Scheduled cumulative network test sleep time: 110"));
    EXPECT_THAT(log.Text(), HasSubstr("Next test of type 3 will run in 60 ms from now."));

    Scheduler<int>(WaitableTimer(), std::vector<Entry>{}).ScheduleNext();
    EXPECT_THAT(log.Text(), HasSubstr("No network tests to normalise."));
}

}  // namespace
