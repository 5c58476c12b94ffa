#pragma once
// The system calls that Socket and ICMPListener make, as one table per platform. The classes
// hold all the logic; a back end only translates each call. Tests replace the table with a fake
// to drive failure paths without privileges or a network.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Shared/src/Raii/shared.raii-win32handle.hpp"

namespace Shared::WinSock {

#if defined(_WIN32)
using SocketHandle = std::uintptr_t;
inline constexpr SocketHandle kInvalidSocket = ~SocketHandle{0};
// Windows never hands out 0; code that reads a zeroed handle must not take it for a socket.
constexpr bool IsValidSocket(SocketHandle socket) noexcept {
    return socket != 0 && socket != kInvalidSocket;
}
#else
using SocketHandle = int;
inline constexpr SocketHandle kInvalidSocket = -1;
// Descriptor 0 is a socket like any other once standard input has been closed.
constexpr bool IsValidSocket(SocketHandle socket) noexcept {
    return socket >= 0;
}
#endif

// An IPv4 address in network byte order, as it travels on the wire.
using Ipv4Address = std::uint32_t;

enum class AddressFamily { Ipv4, Ipv6, Other };

// One endpoint the resolver found for a TCP stream.
struct SocketAddress {
    AddressFamily family = AddressFamily::Ipv4;
    Ipv4Address address = 0;
    std::uint16_t port = 0;  // host order
};

enum class SocketOption { Ttl, HopLimit, RetryTimeoutSeconds };

// What ended a connect: the socket itself (`error` 0 when connected), an ICMP error queued on
// it while the connect goes on, one of the wake handles, or the time limit.
struct ConnectWaitResult {
    enum class Kind { Completed, ErrorQueued, Woken, TimedOut } kind = Kind::Completed;
    std::uint32_t error = 0;
    std::size_t wokenIndex = 0;
};

// What recvmsg(MSG_ERRQUEUE) left: `found` false when nothing was queued; the control messages
// (one cut short by a small buffer shows in its own length) and the start of the probe's TCP
// header as the router quoted it.
struct ErrorQueueRead {
    bool found = false;
    std::size_t controlBytes = 0;
    std::size_t quotedBytes = 0;
};

struct ReceiveResult {
    std::int64_t bytes = 0;  // < 0: failed with `error`
    std::uint32_t error = 0;
    Ipv4Address source = 0;
    bool wouldBlock = false;
};

inline constexpr std::uint32_t kWaitForever = 0xFFFFFFFF;

class SystemCalls {
public:
    virtual ~SystemCalls() = default;

    // IPv4 stream endpoints for `host`:`port`; the resolver's own error code, 0 on success.
    virtual std::uint32_t Resolve(const std::wstring& host, std::uint32_t port,
                                  std::vector<SocketAddress>& found) = 0;
    // A TCP socket for `target`'s family; kInvalidSocket on failure, with LastError().
    virtual SocketHandle OpenStream(const SocketAddress& target) = 0;
    // A raw IPv4 ICMP socket; kInvalidSocket on failure, with LastError().
    virtual SocketHandle OpenRawIcmp() = 0;
    // Makes packets from this socket leave through the interface that holds `address`.
    virtual bool BindToInterface(SocketHandle socket, Ipv4Address address) = 0;
    // Port 0: the system's next free port. Ports are handed out in sequence, never reused
    // within a run while free ones remain. A given port may be bound again right after the
    // socket that held it was closed.
    virtual bool BindStream(SocketHandle socket, Ipv4Address address, std::uint16_t port) = 0;
    virtual bool BindRaw(SocketHandle socket, Ipv4Address address) = 0;
    virtual bool GetOption(SocketHandle socket, SocketOption option, std::uint32_t& value) = 0;
    virtual bool SetOption(SocketHandle socket, SocketOption option, std::uint32_t value) = 0;
    // Starts the connect and waits for the first of: its outcome, a wake handle, the time limit
    // (milliseconds, kWaitForever for none). A connected socket is left blocking.
    virtual ConnectWaitResult Connect(SocketHandle socket, const SocketAddress& target,
                                      std::span<const Shared::Raii::NativeHandle> wakeHandles,
                                      std::uint32_t timeoutMs) = 0;
    virtual bool LocalPort(SocketHandle socket, std::uint16_t& port) = 0;
    virtual std::int64_t Send(SocketHandle socket, std::span<const std::uint8_t> bytes) = 0;
    virtual std::int64_t Receive(SocketHandle socket, std::span<std::uint8_t> bytes) = 0;
    virtual void Close(SocketHandle socket) noexcept = 0;
    // Closes with a reset (linger 0): a connected probe leaves no TIME_WAIT to block its port
    // and no half-closed connection at the target.
    virtual void Abort(SocketHandle socket) noexcept = 0;
    virtual std::uint32_t LastError() noexcept = 0;

    // True where a TCP socket is handed the ICMP errors its own probe caused (checked against
    // the probe's sequence number): answers come from ReadErrorQueue, not from raw listeners.
    virtual bool AnswersOnProbeSockets() const noexcept = 0;
    // Never blocks. Takes the oldest queued error: its control messages into `control`, the
    // quoted TCP header into `quoted`.
    virtual ErrorQueueRead ReadErrorQueue(SocketHandle socket, std::span<std::uint8_t> control,
                                          std::span<std::uint8_t> quoted) = 0;

    // Raw listener: receive every IP datagram for the bound address.
    virtual bool EnableReceiveAll(SocketHandle socket) = 0;
    // Best effort: room for bursts of answers while the reader is busy.
    virtual void EnlargeReceiveBuffer(SocketHandle socket) noexcept = 0;
    // A handle that a wait sees signalled while the socket has data (null when it cannot be
    // made: LastError tells why), and its release.
    virtual Shared::Raii::NativeHandle WatchReadable(SocketHandle socket) = 0;
    virtual void ClearReadable(Shared::Raii::NativeHandle watch) noexcept = 0;
    virtual void ReleaseWatch(Shared::Raii::NativeHandle watch) noexcept = 0;
    // Never blocks.
    virtual ReceiveResult ReceiveFrom(SocketHandle socket, std::span<std::uint8_t> buffer) = 0;

    // The codes this platform uses where the portable logic makes its own.
    virtual std::uint32_t ClosedSocketError() const noexcept = 0;
    virtual std::uint32_t TimedOutError() const noexcept = 0;
};

// The table of the platform this program was built for.
SystemCalls& PlatformCalls();

}  // namespace Shared::WinSock
