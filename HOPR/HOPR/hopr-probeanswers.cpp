#include "HOPR/HOPR/hopr-probeanswers.hpp"

namespace HOPR {

using Shared::WinSock::ICMPTCPResponse;
using Shared::WinSock::Ipv4Address;

ProbeAnswers::Flight::Flight(ProbeAnswers& answers, const ProbeKey& key, std::int64_t startedAt,
                             Shared::Concurrency::Event& wake)
    : answers_(answers), key_(key) {
    std::lock_guard lock(answers_.mutex_);
    id_ = ++answers_.flightsBegun_;
    answers_.counts_.try_emplace(key.destination, 0);
    answers_.flights_.insert_or_assign(key, InFlight{id_, startedAt, &wake, std::nullopt});
}

ProbeAnswers::Flight::~Flight() {
    std::lock_guard lock(answers_.mutex_);
    // A later flight with the same key has taken the entry over: it is not this one's to end.
    if (const auto flight = answers_.flights_.find(key_);
        flight != answers_.flights_.end() && flight->second.id == id_) {
        answers_.flights_.erase(flight);
    }
}

std::optional<ICMPTCPResponse> ProbeAnswers::Flight::Answer() const {
    std::lock_guard lock(answers_.mutex_);
    const auto flight = answers_.flights_.find(key_);
    if (flight == answers_.flights_.end() || flight->second.id != id_) {
        return std::nullopt;
    }
    return flight->second.answer;
}

bool ProbeAnswers::Record(const ICMPTCPResponse& answer) {
    {
        std::lock_guard lock(mutex_);
        ++total_;
        if (const auto count = counts_.find(answer.originalDestination); count != counts_.end()) {
            ++count->second;
        }
        const auto flight = flights_.find({answer.originalDestination, answer.sourcePort});
        if (flight == flights_.end() || answer.receivedAt < flight->second.startedAt ||
            flight->second.answer) {
            return false;
        }
        flight->second.answer = answer;
        flight->second.wake->Signal();
    }
    if (names_ != nullptr) {
        names_->Offer(answer.from);
    }
    return true;
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

}  // namespace HOPR
