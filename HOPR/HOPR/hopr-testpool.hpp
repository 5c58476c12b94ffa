#pragma once
// The threads of a concurrent run. Each test starts at a time drawn within the scheduling bound,
// on one of as many threads as the system lets this process start; when it lets fewer start
// than there are tests, the threads take the tests in start-time order, so a thread limit only
// delays tests, never loses them.

#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace HOPR {

struct ScheduledTest {
    std::chrono::steady_clock::time_point startAt;
    std::uint64_t index;  // into the test list and the results
};

// Start times for `count` tests, each 1 to `boundMs` ms from now, earliest first.
std::vector<ScheduledTest> DrawStartTimes(std::uint64_t count, std::int64_t boundMs);

using ThreadStarter = std::function<std::thread(std::function<void()>)>;

// Runs `body` once for every test, on threads from `startThread` (which throws
// std::system_error when the system refuses one); returns when all have ended. Once a thread
// is refused, `spare` of those started take no further test: they are left for the name
// look-ups. With no thread at all, the tests run on the calling thread.
void RunOnThreads(const std::vector<ScheduledTest>& tests, std::size_t spare,
                  const std::function<void(const ScheduledTest&)>& body,
                  const ThreadStarter& startThread = [](std::function<void()> routine) {
                      return std::thread(std::move(routine));
                  });

}  // namespace HOPR
