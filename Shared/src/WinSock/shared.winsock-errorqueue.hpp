#pragma once
// The ICMP error that the kernel queued on a probe's own socket: which router answered, with
// which message, and when. The kernel queues only errors that quote the probe's sequence number,
// but for a moment before the number is drawn it takes 0 for it: errors quoting 0 are refused
// here. IPv4 today; an ICMPv6 origin adds an offender of its family.

#include <cstdint>
#include <optional>
#include <span>

#include "Shared/src/WinSock/shared.winsock-systemcalls.hpp"

namespace Shared::WinSock {

inline constexpr std::uint8_t kIcmpTimeExceeded = 11;

struct QueuedIcmpError {
    std::uint8_t type = 0;
    std::uint8_t code = 0;
    Ipv4Address offender = 0;  // the router that sent it
    std::optional<std::int64_t> receivedWallNs;  // the kernel's receive time, ns since 1970
};

// The ICMP error among the control messages of one error-queue read; nothing when none is there
// whole: another origin, a truncated record, a length that overruns the buffer.
std::optional<QueuedIcmpError> DecodeErrorQueue(std::span<const std::uint8_t> control) noexcept;

// The oldest error queued on `socket` that quotes a drawn sequence number (older ones are
// dropped), its receive time moved onto the steady clock (the read time when the kernel gave
// none); nothing when no such error is queued.
struct ProbeIcmpAnswer {
    std::uint8_t type = 0;
    Ipv4Address from = 0;
    std::int64_t receivedAt = 0;  // steady clock, ns
};
std::optional<ProbeIcmpAnswer> ReadQueuedIcmpError(SystemCalls& calls, SocketHandle socket);

}  // namespace Shared::WinSock
