#pragma once
// Decoding of an ICMP time-exceeded datagram that quotes one of our TCP probes. Pure: bytes in,
// fields out, so it can be tested and fuzzed without a socket.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace Shared::WinSock {

struct QuotedTcpProbe {
    std::array<std::uint8_t, 4> originalDestination;  // the probe's destination, network order
    std::uint16_t sourcePort;                         // host order
    std::uint16_t destinationPort;                    // host order
};

// `buffer` is the whole receive buffer and `received` the datagram's length (IPv4 header
// included). Accepts only an IPv4 datagram carrying ICMP (protocol 1) of type 11 that quotes a
// whole IPv4 header whose protocol is TCP, followed by the TCP ports. Nothing past `received`
// is read.
std::optional<QuotedTcpProbe> DecodeTimeExceeded(std::span<const std::uint8_t> buffer,
                                                 std::size_t received) noexcept;

}  // namespace Shared::WinSock
