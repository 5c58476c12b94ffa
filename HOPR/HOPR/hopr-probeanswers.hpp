#pragma once
// Where the routers' answers meet the probes. An answer belongs to the probe in flight with the
// (destination, source port) it quotes, if it arrives after that probe began and the probe has
// none yet: every probe of a trace leaves from one port, so the key alone cannot tell them
// apart, and an answer that comes while no probe is in flight belongs to none. Every answer is
// counted per probed destination, for the trace's "did this hop answer" test. Anyone on the
// path can send time-exceeded datagrams quoting anything, so what is kept is bounded by the
// probes in flight, never by the datagrams received.

#include <compare>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "HOPR/HOPR/hopr-routernames.hpp"
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
    // The routers of kept answers go to `names` to be named, when given.
    explicit ProbeAnswers(RouterNames* names = nullptr) : names_(names) {}

    // While it lives, its probe is in flight: the first answer quoting its key that arrived from
    // `startedAt` on is the probe's own, and signals `wake`.
    class Flight {
    public:
        Flight(ProbeAnswers& answers, const ProbeKey& key, std::int64_t startedAt,
               Shared::Concurrency::Event& wake);
        ~Flight();
        Flight(const Flight&) = delete;
        Flight& operator=(const Flight&) = delete;

        std::optional<Shared::WinSock::ICMPTCPResponse> Answer() const;

    private:
        ProbeAnswers& answers_;
        ProbeKey key_;
        std::uint64_t id_;
    };

    // Every answer, from a listener thread or from a probe's own socket. True when it became
    // the answer of the probe in flight.
    bool Record(const Shared::WinSock::ICMPTCPResponse& answer);

    // Every answer recorded for the destination since its first probe began, kept or not.
    std::uint32_t CountFor(Shared::WinSock::Ipv4Address destination) const;
    std::uint64_t Total() const;

private:
    struct InFlight {
        std::uint64_t id = 0;
        std::int64_t startedAt = 0;
        Shared::Concurrency::Event* wake = nullptr;
        std::optional<Shared::WinSock::ICMPTCPResponse> answer;
    };

    RouterNames* names_;
    mutable std::mutex mutex_;
    std::map<ProbeKey, InFlight> flights_;
    std::unordered_map<Shared::WinSock::Ipv4Address, std::uint32_t> counts_;
    std::uint64_t total_ = 0;
    std::uint64_t flightsBegun_ = 0;
};

}  // namespace HOPR
