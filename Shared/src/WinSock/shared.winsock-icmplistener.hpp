#pragma once
// A raw ICMP socket bound to one local interface address, from which the routers' time-exceeded
// answers to our TCP probes are read. One thread reads; Close() from another thread ends it.

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"

namespace Shared::WinSock {

struct ICMPTCPResponse {
    std::wstring originalDestination;  // the probed target
    std::wstring from;                 // the router that answered
    std::uint16_t sourcePort = 0;      // the probe's local port
    std::uint16_t destinationPort = 0;
    std::int64_t receivedAt = 0;  // steady clock, ns; same clock as the probes' times
};

class ICMPListener {
public:
    ICMPListener();
    ~ICMPListener();
    ICMPListener(const ICMPListener&) = delete;
    ICMPListener& operator=(const ICMPListener&) = delete;

    // Binding an already bound listener logs and keeps the first binding.
    void Bind(const std::wstring& address);
    // Blocks until an acceptable answer arrives; throws "recvfrom() failed" once closed.
    // An empty response means the socket reported an orderly end.
    ICMPTCPResponse ReadNextICMPResponse();
    void Close() noexcept;

private:
    std::mutex mutex_;  // guards socket_ against Close() from another thread
    SocketHandle socket_ = kInvalidSocket;
    Shared::Concurrency::Event closed_;  // wakes a reader blocked in its wait
    std::vector<std::uint8_t> buffer_;
};

std::int64_t SteadyNowNs() noexcept;

namespace detail {

// The answer in a datagram just received from `source` (4 bytes, network order), stamped now;
// nothing when it is not a time-exceeded message quoting a TCP probe.
std::optional<ICMPTCPResponse> ToResponse(const std::vector<std::uint8_t>& buffer,
                                          std::size_t received, const void* source);

}  // namespace detail

}  // namespace Shared::WinSock
