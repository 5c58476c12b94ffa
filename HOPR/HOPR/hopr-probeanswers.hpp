#pragma once
// Where the listeners' answers meet the probes. Keyed by what an answer quotes (destination and
// source port), it keeps the first answer per key that arrived after a probe with that key
// began, for the join at the end; counts every answer per probed destination for the trace's
// "did this hop answer" test; and wakes a probe in flight as soon as its own answer is in.
// Anyone on the path can send time-exceeded datagrams quoting anything, so what it keeps is
// bounded by the probes made, never by the datagrams received.

#include <compare>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"

namespace HOPR {

struct ProbeKey {
    Shared::WinSock::Ipv4Address destination = 0;
    std::uint16_t sourcePort = 0;
    auto operator<=>(const ProbeKey&) const = default;
};

class ProbeAnswers {
public:
    // A probe with this key is about to leave: answers quoting it from `startedAt` on count
    // as its own.
    void Begin(const ProbeKey& key, std::int64_t startedAt);

    // From the listener threads, for every accepted answer. True when the answer is kept as
    // a probe's answer.
    bool Record(const Shared::WinSock::ICMPTCPResponse& answer);

    // Every answer recorded for the destination since its first probe began, kept or not.
    std::uint32_t CountFor(Shared::WinSock::Ipv4Address destination) const;
    std::uint64_t Total() const;

    std::optional<Shared::WinSock::ICMPTCPResponse> FirstAnswer(const ProbeKey& key) const;
    // The kept answers that quote `destination`, in capture order.
    std::vector<Shared::WinSock::ICMPTCPResponse> KeptFor(
        Shared::WinSock::Ipv4Address destination) const;

    // While it lives, the next answer recorded for its key signals its event.
    class Waiter {
    public:
        Waiter(ProbeAnswers& answers, const ProbeKey& key, Shared::Concurrency::Event& wake);
        ~Waiter();
        Waiter(const Waiter&) = delete;
        Waiter& operator=(const Waiter&) = delete;

    private:
        ProbeAnswers& answers_;
        std::multimap<ProbeKey, Shared::Concurrency::Event*>::iterator entry_;
    };

private:
    struct Kept {
        Shared::WinSock::ICMPTCPResponse answer;
        std::uint64_t sequence = 0;
    };

    mutable std::mutex mutex_;
    std::map<ProbeKey, std::int64_t> began_;  // earliest start per key
    std::map<ProbeKey, Kept> first_;
    std::unordered_map<Shared::WinSock::Ipv4Address, std::uint32_t> counts_;
    std::uint64_t total_ = 0;
    std::multimap<ProbeKey, Shared::Concurrency::Event*> waiters_;
};

}  // namespace HOPR
