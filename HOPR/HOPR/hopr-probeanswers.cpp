#include "HOPR/HOPR/hopr-probeanswers.hpp"

#include <algorithm>

namespace HOPR {

using Shared::WinSock::ICMPTCPResponse;
using Shared::WinSock::Ipv4Address;

void ProbeAnswers::Begin(const ProbeKey& key, std::int64_t startedAt) {
    std::lock_guard lock(mutex_);
    counts_.try_emplace(key.destination, 0);
    const auto [entry, added] = began_.try_emplace(key, startedAt);
    if (!added) {
        entry->second = std::min(entry->second, startedAt);
    }
}

bool ProbeAnswers::Record(const ICMPTCPResponse& answer) {
    const ProbeKey key{answer.originalDestination, answer.sourcePort};
    std::lock_guard lock(mutex_);
    ++total_;
    if (const auto count = counts_.find(key.destination); count != counts_.end()) {
        ++count->second;
    }
    const auto began = began_.find(key);
    if (began == began_.end() || answer.receivedAt < began->second) {
        return false;
    }
    const auto [begin, end] = waiters_.equal_range(key);
    for (auto waiter = begin; waiter != end; ++waiter) {
        waiter->second->Signal();
    }
    return first_.try_emplace(key, Kept{answer, total_}).second;
}

std::uint32_t ProbeAnswers::CountFor(Ipv4Address destination) const {
    std::lock_guard lock(mutex_);
    const auto found = counts_.find(destination);
    return found == counts_.end() ? 0 : found->second;
}

std::uint64_t ProbeAnswers::Total() const {
    std::lock_guard lock(mutex_);
    return total_;
}

std::optional<ICMPTCPResponse> ProbeAnswers::FirstAnswer(const ProbeKey& key) const {
    std::lock_guard lock(mutex_);
    const auto found = first_.find(key);
    if (found == first_.end()) {
        return std::nullopt;
    }
    return found->second.answer;
}

std::vector<ICMPTCPResponse> ProbeAnswers::KeptFor(Ipv4Address destination) const {
    std::vector<Kept> kept;
    {
        std::lock_guard lock(mutex_);
        for (auto entry = first_.lower_bound({destination, 0});
             entry != first_.end() && entry->first.destination == destination; ++entry) {
            kept.push_back(entry->second);
        }
    }
    std::sort(kept.begin(), kept.end(),
              [](const Kept& a, const Kept& b) { return a.sequence < b.sequence; });
    std::vector<ICMPTCPResponse> answers;
    answers.reserve(kept.size());
    for (const auto& entry : kept) {
        answers.push_back(entry.answer);
    }
    return answers;
}

ProbeAnswers::Waiter::Waiter(ProbeAnswers& answers, const ProbeKey& key,
                             Shared::Concurrency::Event& wake)
    : answers_(answers) {
    std::lock_guard lock(answers_.mutex_);
    entry_ = answers_.waiters_.emplace(key, &wake);
}

ProbeAnswers::Waiter::~Waiter() {
    std::lock_guard lock(answers_.mutex_);
    answers_.waiters_.erase(entry_);
}

}  // namespace HOPR
