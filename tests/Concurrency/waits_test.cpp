#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Concurrency/shared.concurrency-scheduler.hpp"
#include "Shared/src/Concurrency/shared.concurrency-sharedmap.hpp"
#include "Shared/src/Concurrency/shared.concurrency-threadsafequeue.hpp"
#include "Shared/src/Concurrency/shared.concurrency-waitabletimer.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Raii/shared.raii-win32handle.hpp"
#include "support/captured_log.hpp"
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

TEST(Handles, AllOnesIsEmptyAndDuplicatesKeepInheritability) {
    Shared::Raii::Win32Handle empty;
    EXPECT_FALSE(empty.IsValid());
    EXPECT_EQ(Shared::Raii::Win32Handle::DuplicatePassedHandle(Shared::Raii::kNullHandle, true),
              Shared::Raii::kNullHandle);
    EXPECT_THROW(empty.SetInheritability(true), Shared::Exception::RuntimeError);

    Event event;
    Shared::Raii::Win32Handle duplicate(
        Shared::Raii::Win32Handle::DuplicatePassedHandle(event.Handle(), true));
    EXPECT_TRUE(duplicate.IsInheritable());
    duplicate.SetInheritability(false);
    EXPECT_FALSE(duplicate.IsInheritable());
    Shared::Raii::Win32Handle copy(duplicate);
    EXPECT_NE(copy.Get(), duplicate.Get());
    EXPECT_FALSE(copy.IsInheritable());
    event.Signal();
    EXPECT_TRUE(WaitFor(copy.Get(), 0, false));  // the same kernel object
}

bool Signalled(const Event& event) {
    return WaitFor(event.Handle(), 0, false);
}

TEST(ThreadSafeQueue, EventFollowsEmptinessAndItemsComeOutInOrder) {
    ThreadSafeQueue<int> queue;
    EXPECT_FALSE(Signalled(queue.ItemsWaiting()));
    queue.Push(1);
    queue.Push(2);
    EXPECT_TRUE(Signalled(queue.ItemsWaiting()));
    EXPECT_EQ(queue.EraseOne(0), 1);
    EXPECT_TRUE(Signalled(queue.ItemsWaiting()));
    EXPECT_EQ(queue.EraseOne(0), 2);
    EXPECT_FALSE(Signalled(queue.ItemsWaiting()));
    EXPECT_THAT(WhatOf<std::runtime_error>([&] { queue.EraseOne(0); }),
                testing::HasSubstr("Index 0 is out of bounds of 0"));
}

TEST(SharedMap, FindOrInsertKeepsTheExistingValue) {
    SharedMap<std::wstring, std::atomic<unsigned>> counts;
    counts.FindOrInsert(L"198.18.4.1", 5u);
    EXPECT_EQ(counts.FindOrInsert(L"198.18.4.1", 0u).load(), 5u);
    EXPECT_EQ(counts.Find(L"198.18.4.1")->load(), 5u);
    EXPECT_EQ(counts.Find(L"absent"), nullptr);
}

TEST(Scheduler, NormalisesToRelativeWaitsAndArmsTheTimer) {
    const CapturedLog log;
    using Entry = Scheduler<int>::Entry;
    Scheduler<int> scheduler(WaitableTimer(),
                             std::vector<Entry>{{0, 1, 500}, {1, 1, 200}, {2, 1, 900}});
    scheduler.NormaliseToBound();
    std::vector<std::int64_t> delays;
    for (const auto& e : scheduler.Entries()) {
        delays.push_back(e.delayMs);
    }
    // 200, 300, 400 before the second sort, which leaves them in that order.
    EXPECT_EQ(delays, (std::vector<std::int64_t>{200, 300, 400}));
    EXPECT_THAT(log.Text(), testing::HasSubstr("Scheduled cumulative network test sleep time: 900"));

    Scheduler<int> none(WaitableTimer(), std::vector<Entry>{});
    none.ScheduleNext();
    EXPECT_THAT(log.Text(), testing::HasSubstr("No network tests to normalise."));
    EXPECT_FALSE(WaitFor(none.Timer().Handle(), 20, false));

    Scheduler<int> one(WaitableTimer(), std::vector<Entry>{{0, 1, 1}});
    one.ScheduleNext();
    EXPECT_THAT(log.Text(), testing::HasSubstr("Next test of type 1 will run in 1 ms from now."));
    EXPECT_TRUE(WaitFor(one.Timer().Handle(), 1000, false));
}

}  // namespace
