#include "HOPR/HOPR/hopr-testpool.hpp"

#include <algorithm>
#include <atomic>
#include <limits>
#include <random>
#include <system_error>

#include "Shared/src/Concurrency/shared.concurrency-scheduler.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"

namespace HOPR {

std::vector<ScheduledTest> DrawStartTimes(std::uint64_t count, std::int64_t boundMs) {
    std::random_device device;
    std::mt19937 engine(device());
    const auto now = std::chrono::steady_clock::now();
    std::vector<ScheduledTest> tests;
    for (std::uint64_t i = 0; i < count; ++i) {
        const auto drawn = Shared::Concurrency::DrawBelow(engine, static_cast<std::uint32_t>(boundMs));
        tests.push_back({now + std::chrono::milliseconds(std::int64_t{drawn} + 1), i});
    }
    std::stable_sort(tests.begin(), tests.end(),
                     [](const auto& a, const auto& b) { return a.startAt < b.startAt; });
    return tests;
}

void RunOnThreads(const std::vector<ScheduledTest>& tests, std::size_t spare,
                  const std::function<void(const ScheduledTest&)>& body,
                  const ThreadStarter& startThread) {
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> allowed{std::numeric_limits<std::size_t>::max()};
    const auto takeTests = [&](std::size_t slot) {
        while (slot < allowed.load()) {
            const auto taken = next++;
            if (taken >= tests.size()) {
                return;
            }
            body(tests[taken]);
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(tests.size());
    try {
        while (threads.size() < tests.size()) {
            threads.push_back(startThread([&takeTests, slot = threads.size()] { takeTests(slot); }));
        }
    } catch (const std::system_error& e) {
        allowed = std::max<std::size_t>(threads.size(), spare + 1) - spare;
        Log::GuardedLog::Warn("Only {} threads could be started for {} tests ({}); the tests take "
                              "turns on {} of them.",
                              threads.size(), tests.size(), e.what(), allowed.load());
        if (threads.empty()) {
            takeTests(0);
        }
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

}  // namespace HOPR
