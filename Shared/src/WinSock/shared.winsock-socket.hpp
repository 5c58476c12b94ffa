#pragma once
// One client TCP socket towards one destination, with the two options tracing needs: the IP
// time-to-live and the bound on how long a connect keeps retrying its SYN. A handle serves one
// connection attempt; Open() gives the object a fresh one.

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/WinSock/shared.winsock-errorqueue.hpp"
#include "Shared/src/WinSock/shared.winsock-systemcalls.hpp"

namespace Shared::WinSock {

// True for the outcome of a probe whose TTL ran out before the destination: not worth a log line.
bool IsProbeExpiryError(std::uint32_t code) noexcept;

// How a connect attempt ended. Only `Failed` is worth reporting; `Woken` names the wake handle;
// `Answered` carries the router's time-exceeded that the probe's own socket was handed.
// Another ICMP error ends the probe as `TimedOut`: unanswered and silent, as where TCP ignores
// them and times out.
struct ConnectOutcome {
    enum class Status { Connected, Answered, TimedOut, Woken, Failed };
    ConnectOutcome(Status status, std::uint32_t error = 0, std::size_t wokenIndex = 0,
                   std::optional<ProbeIcmpAnswer> answer = std::nullopt)
        : status(status), error(error), wokenIndex(wokenIndex), answer(answer) {}

    Status status;
    std::uint32_t error;
    std::size_t wokenIndex;
    std::optional<ProbeIcmpAnswer> answer;
};

class Socket {
public:
    Socket(std::wstring address, std::uint32_t port, SystemCalls& calls = PlatformCalls());
    ~Socket();
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    // Takes address, port, handle and family; the resolved endpoints stay behind.
    Socket& operator=(Socket&& other) noexcept;

    void Open();
    // Also ties the socket to the interface that holds `localAddress`. A failure leaves the
    // socket closed.
    void Bind(const std::wstring& localAddress, std::uint16_t localPort);
    // Sets the TTL and the retry time-out only when non-zero, then connects; the wait ends at
    // the first of the outcome, a signalled wake handle and the retry time-out.
    ConnectOutcome TryConnect(std::uint32_t ttl, std::uint32_t retrySeconds,
                              std::span<const Shared::Raii::NativeHandle> wakeHandles = {});
    // The same without wake handles; anything but a connection throws "connect() failed".
    void Connect(std::uint32_t ttl, std::uint32_t retrySeconds);
    void Connect() { Connect(0, 0); }
    // With a reset: a connected probe leaves no TIME_WAIT behind.
    void Close() noexcept;
    void Send(const std::vector<std::uint8_t>& bytes);
    std::vector<std::uint8_t> Receive(std::uint32_t maximumBytes);
    void SetSocketTTL(std::uint32_t ttl);
    void SetMaxRetryTimeout(std::uint32_t seconds);
    const std::wstring& Address() const noexcept { return address_; }
    std::uint32_t Port() const noexcept { return port_; }
    std::uint32_t GetLocalPort();
    SocketHandle Handle() const noexcept { return handle_; }

private:
    bool HasHandle() const noexcept;
    std::optional<ConnectOutcome> QueuedAnswer(std::uint32_t error);
    void SetCheckedOption(SocketOption option, std::uint32_t value, const char* probeFailure);

    SystemCalls* calls_;
    std::wstring address_;
    std::uint32_t port_;
    SocketHandle handle_ = kInvalidSocket;
    AddressFamily family_ = AddressFamily::Other;
    std::vector<SocketAddress> endpoints_;
    std::uint32_t retrySeconds_ = 0;
};

// The longest wait a time-out in seconds allows, in milliseconds, clamped where the
// platform's waits and options end.
std::uint32_t ClampedMilliseconds(std::uint32_t seconds) noexcept;
// What is left of a wait of `timeoutMs` that ends at `deadline`, rounded up; kWaitForever stays.
std::uint32_t RemainingMs(std::chrono::steady_clock::time_point deadline, std::uint32_t timeoutMs);

// Starts the socket library once for the process; stops it when destroyed.
class WinSockInitialiser {
public:
    WinSockInitialiser() = default;
    ~WinSockInitialiser();
    WinSockInitialiser(const WinSockInitialiser&) = delete;
    WinSockInitialiser& operator=(const WinSockInitialiser&) = delete;

    void Initialise();

private:
    bool initialised_ = false;
};

}  // namespace Shared::WinSock
