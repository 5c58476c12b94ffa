#pragma once
// A raw ICMP socket bound to one local interface address, from which the routers' time-exceeded
// answers to our TCP probes are read. One thread reads; Close() from another thread ends it.

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/WinSock/shared.winsock-systemcalls.hpp"

namespace Shared::WinSock {

// One router's answer to one probe. Addresses stay 4 bytes in network order: they become text
// only in logs and results.
struct ICMPTCPResponse {
    Ipv4Address originalDestination = 0;  // the probed target
    Ipv4Address from = 0;                 // the router that answered
    std::uint16_t sourcePort = 0;         // the probe's local port
    std::uint16_t destinationPort = 0;
    std::int64_t receivedAt = 0;  // steady clock, ns; same clock as the probes' times
};

class ICMPListener {
public:
    explicit ICMPListener(SystemCalls& calls = PlatformCalls());
    ~ICMPListener();
    ICMPListener(const ICMPListener&) = delete;
    ICMPListener& operator=(const ICMPListener&) = delete;

    // Binding an already bound listener logs and keeps the first binding. A failure leaves the
    // listener unbound.
    void Bind(const std::wstring& address);
    // Blocks until an acceptable answer arrives; throws "recvfrom() failed" once closed.
    // An empty response means the socket reported an orderly end.
    ICMPTCPResponse ReadNextICMPResponse();
    void Close() noexcept;
    // True once closed (and before the first Bind).
    bool IsClosed() noexcept;

private:
    // One datagram's answer, if it holds one; when the socket has nothing queued, the handle
    // to wait on instead.
    struct Received {
        std::optional<ICMPTCPResponse> answer;
        std::optional<Shared::Raii::NativeHandle> drainedWatch;
    };
    Received ReceiveOne();
    void CloseLocked() noexcept;

    SystemCalls& calls_;
    std::mutex mutex_;  // guards socket_ and watch_ against Close() from another thread
    SocketHandle socket_ = kInvalidSocket;
    Shared::Raii::NativeHandle watch_ = Shared::Raii::kNullHandle;
    Shared::Concurrency::Event closed_;  // wakes a reader blocked in its wait
    std::vector<std::uint8_t> buffer_;
};

std::int64_t SteadyNowNs() noexcept;

// Dotted decimal for logs and results.
std::string Ipv4Text(Ipv4Address address);

namespace detail {

// The answer in a datagram just received from `source`, stamped now; nothing when it is not a
// time-exceeded message quoting a TCP probe.
std::optional<ICMPTCPResponse> ToResponse(const std::vector<std::uint8_t>& buffer,
                                          std::size_t received, Ipv4Address source);

}  // namespace detail

}  // namespace Shared::WinSock
