#pragma once
// Spreads the start of concurrent tests: the entries' delays (drawn with DrawBelow) become waits
// between consecutive entries, and a waitable timer is armed for each in turn.

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "Shared/src/Concurrency/shared.concurrency-waitabletimer.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"

namespace Shared::Concurrency {

// A uniform draw in [0, bound) without modulo bias (multiply, reject the short low range).
// A bound of 0 gives the engine's raw output.
inline std::uint32_t DrawBelow(std::mt19937& engine, std::uint32_t bound) {
    if (bound == 0) {
        return static_cast<std::uint32_t>(engine());
    }
    std::uint64_t product = static_cast<std::uint64_t>(engine()) * bound;
    const std::uint32_t threshold = static_cast<std::uint32_t>(-bound) % bound;
    while (static_cast<std::uint32_t>(product) < threshold) {
        product = static_cast<std::uint64_t>(engine()) * bound;
    }
    return static_cast<std::uint32_t>(product >> 32);
}

template <typename T>
class Scheduler {
public:
    struct Entry {
        std::uint64_t sequence;
        T type;
        std::int64_t delayMs;  // from the start; after normalisation, from the previous entry
    };

    Scheduler(WaitableTimer timer, std::vector<Entry> entries)
        : entries_(std::move(entries)), timer_(std::move(timer)) {}

    void NormaliseToBound() {
        using Log::GuardedLog;
        if (entries_.empty()) {
            GuardedLog::Info("No network tests to normalise.");
            return;
        }
        SortByDelay();
        std::int64_t runningSum = entries_.front().delayMs;
        for (std::size_t i = 1; i < entries_.size(); ++i) {
            entries_[i].delayMs -= runningSum;
            runningSum += entries_[i].delayMs;
        }
        SortByDelay();
        GuardedLog::Info("Scheduled cumulative network test sleep time: {}", runningSum);
    }

    void ScheduleNext() {
        using Log::GuardedLog;
        if (nextIndex_ == 0) {
            NormaliseToBound();
        }
        if (nextIndex_ < entries_.size()) {
            const auto& entry = entries_[nextIndex_];
            timer_.SetTimerInMillis(entry.delayMs, 0);
            GuardedLog::Info("Next test of type {} will run in {} ms from now.",
                             static_cast<std::uint32_t>(entry.type), entry.delayMs);
            ++nextIndex_;
        } else {
            timer_.CancelTimer();
        }
    }

    const WaitableTimer& Timer() const noexcept { return timer_; }

private:
    void SortByDelay() {
        std::stable_sort(entries_.begin(), entries_.end(),
                         [](const Entry& a, const Entry& b) { return a.delayMs < b.delayMs; });
    }

    std::vector<Entry> entries_;
    WaitableTimer timer_;
    std::uint32_t nextIndex_ = 0;
};

}  // namespace Shared::Concurrency
