#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <numeric>
#include <set>
#include <system_error>

#include "HOPR/HOPR/hopr-testpool.hpp"
#include "support/captured_log.hpp"

namespace {

using HOPR::ScheduledTest;

struct PoolRun {
    std::vector<std::uint64_t> ran;
    std::set<std::thread::id> threads;
};

// A system that lets `allowed` threads start, then refuses.
PoolRun RunWithThreadLimit(const std::vector<ScheduledTest>& tests, std::size_t allowed,
                           std::size_t spare) {
    PoolRun run;
    std::mutex mutex;
    std::size_t started = 0;
    HOPR::RunOnThreads(
        tests, spare,
        [&](const ScheduledTest& test) {
            const std::lock_guard lock(mutex);
            run.ran.push_back(test.index);
            run.threads.insert(std::this_thread::get_id());
        },
        [&](std::function<void()> routine) {
            if (started++ == allowed) {
                throw std::system_error(EAGAIN, std::generic_category(), "thread");
            }
            return std::thread(std::move(routine));
        });
    std::sort(run.ran.begin(), run.ran.end());
    return run;
}

TEST(TestPool, AThreadLimitDelaysTestsButLosesNone) {
    const CapturedLog log;
    const auto before = std::chrono::steady_clock::now();
    const auto tests = HOPR::DrawStartTimes(40, 3);
    ASSERT_EQ(tests.size(), 40u);
    EXPECT_TRUE(std::is_sorted(tests.begin(), tests.end(),
                               [](const auto& a, const auto& b) { return a.startAt < b.startAt; }));
    for (const auto& test : tests) {
        EXPECT_GE(test.startAt, before + std::chrono::milliseconds(1));
        EXPECT_LE(test.startAt, std::chrono::steady_clock::now() + std::chrono::milliseconds(3));
    }
    std::vector<std::uint64_t> everyTest(40);
    std::iota(everyTest.begin(), everyTest.end(), 0);

    const auto limited = RunWithThreadLimit(tests, 5, 2);
    EXPECT_EQ(limited.ran, everyTest);
    EXPECT_LE(limited.threads.size(), 5u);
    EXPECT_NE(log.Text().find("Only 5 threads could be started for 40 tests"), std::string::npos);

    const auto none = RunWithThreadLimit(tests, 0, 2);
    EXPECT_EQ(none.ran, everyTest);
    EXPECT_EQ(none.threads, std::set{std::this_thread::get_id()});
}

}  // namespace
