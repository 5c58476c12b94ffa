#pragma once
// Where the listeners' answers meet the probes. Keyed by what an answer quotes (destination and
// source port), it keeps the first answer per key for the join at the end, counts every answer
// per destination for the trace's "did this hop answer" test, and wakes a probe in flight as
// soon as its own answer is in.

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
    // From the listener threads, for every accepted answer.
    void Record(const Shared::WinSock::ICMPTCPResponse& answer);

    // Every answer recorded for the destination so far, kept or not.
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
    std::map<ProbeKey, Kept> first_;
    std::unordered_map<Shared::WinSock::Ipv4Address, std::uint32_t> counts_;
    std::uint64_t total_ = 0;
    std::multimap<ProbeKey, Shared::Concurrency::Event*> waiters_;
};

}  // namespace HOPR
