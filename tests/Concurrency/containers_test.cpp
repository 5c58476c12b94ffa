#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Concurrency/shared.concurrency-scheduler.hpp"
#include "Shared/src/Concurrency/shared.concurrency-sharedmap.hpp"
#include "Shared/src/Concurrency/shared.concurrency-threadsafequeue.hpp"
#include "support/captured_log.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::Concurrency;

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
