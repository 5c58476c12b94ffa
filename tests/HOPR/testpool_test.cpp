#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <system_error>

#include "HOPR/HOPR/hopr-testpool.hpp"

namespace {

// The lab runs a concurrent run under a thread limit; here, the system refuses every thread.
TEST(TestPool, StartTimesAreOrderedWithinTheBoundAndWithNoThreadTheCallerRunsEveryTest) {
    using std::chrono::milliseconds;
    const auto before = std::chrono::steady_clock::now();
    const auto tests = HOPR::DrawStartTimes(40, 3);
    ASSERT_EQ(tests.size(), 40u);
    EXPECT_TRUE(std::is_sorted(tests.begin(), tests.end(),
                               [](const auto& a, const auto& b) { return a.startAt < b.startAt; }));
    EXPECT_GE(tests.front().startAt, before + milliseconds(1));
    EXPECT_LE(tests.back().startAt, std::chrono::steady_clock::now() + milliseconds(3));
    std::vector<std::uint64_t> ran;
    std::set<std::thread::id> threads;
    HOPR::RunOnThreads(
        tests, 4,
        [&](const HOPR::ScheduledTest& test) {
            ran.push_back(test.index);
            threads.insert(std::this_thread::get_id());
        },
        [](std::function<void()>) -> std::thread {
            throw std::system_error(EAGAIN, std::generic_category(), "thread");
        });
    std::sort(ran.begin(), ran.end());
    std::vector<std::uint64_t> everyTest(40);
    std::iota(everyTest.begin(), everyTest.end(), 0);
    EXPECT_EQ(ran, everyTest);
    EXPECT_EQ(threads, std::set{std::this_thread::get_id()});
}

}  // namespace
