#pragma once
// A system-call table for tests: every call succeeds unless a test says otherwise, sockets are
// numbers handed out in sequence, and the calls that matter are recorded.

#include <cerrno>
#include <algorithm>
#include <array>
#include <deque>
#include <set>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/WinSock/shared.winsock-systemcalls.hpp"

namespace testing_support {

using namespace Shared::WinSock;

#if defined(_WIN32)
inline constexpr std::uint32_t kTimedOutCode = 10060;
inline constexpr std::uint32_t kUnreachableCode = 10065;
inline constexpr std::uint32_t kInUseCode = 10048;
#else
inline constexpr std::uint32_t kTimedOutCode = ETIMEDOUT;
inline constexpr std::uint32_t kUnreachableCode = EHOSTUNREACH;
inline constexpr std::uint32_t kInUseCode = EADDRINUSE;
#endif

// A time-exceeded datagram (IPv4 header included) quoting a TCP probe to 198.18.4.1 from
// port 40000 to port 80; the ICMP type, both headers' protocols and IP options vary it.
struct QuotedProbe {
    std::uint8_t type = 11;
    std::uint8_t protocol = 6;
    std::size_t outerOptions = 0;
    std::size_t innerOptions = 0;
    std::uint8_t outerProtocol = 1;
};

inline std::vector<std::uint8_t> TimeExceededDatagram(const QuotedProbe& probe = {}) {
    const auto icmp = 20 + probe.outerOptions;
    const auto inner = icmp + 8;
    const auto tcp = inner + 20 + probe.innerOptions;
    std::vector<std::uint8_t> bytes(tcp + 8, 0);
    bytes[0] = static_cast<std::uint8_t>(0x45 + probe.outerOptions / 4);
    bytes[9] = probe.outerProtocol;
    bytes[icmp] = probe.type;
    bytes[inner] = static_cast<std::uint8_t>(0x45 + probe.innerOptions / 4);
    bytes[inner + 9] = probe.protocol;
    std::ranges::copy(std::array<std::uint8_t, 4>{198, 18, 4, 1}, bytes.begin() + inner + 16);
    bytes[tcp] = 40000 >> 8;
    bytes[tcp + 1] = 40000 & 0xFF;
    bytes[tcp + 3] = 80;
    return bytes;
}

class FakeCalls : public SystemCalls {
public:
    // The connect's outcome; by default it connects. Gets the TTL last set and the wait's
    // wake handles and time-out.
    std::function<ConnectWaitResult(std::uint32_t ttl, std::span<const Shared::Raii::NativeHandle>,
                                    std::uint32_t timeoutMs)>
        onConnect;
    std::uint32_t bindError = 0;  // non-zero: BindStream and BindRaw fail with it
    std::set<std::uint16_t> takenPorts;  // BindStream to one of these fails: in use
    std::deque<ReceiveResult> datagrams;  // what ReceiveFrom returns, then "would block"
    bool answersOnProbeSockets = false;   // false: answers come from listeners, as on Windows
    struct QueuedError {
        std::vector<std::uint8_t> control;
        std::uint32_t sequence = 0x1000;  // what the router quoted
    };
    std::deque<QueuedError> errorQueue;  // oldest first

    std::set<SocketHandle> open;
    std::vector<std::uint16_t> boundPorts;
    std::uint32_t lastTtl = 0;
    std::uint32_t lastRetrySeconds = 0;
    std::size_t aborted = 0;
    std::uint16_t localPort = 0;  // the last bound

    std::uint32_t Resolve(const std::wstring&, std::uint32_t port,
                          std::vector<SocketAddress>& found) override {
        found.push_back({AddressFamily::Ipv4, 0x010412C6, static_cast<std::uint16_t>(port)});
        return 0;
    }
    SocketHandle OpenStream(const SocketAddress&) override { return Open(); }
    SocketHandle OpenRawIcmp() override { return Open(); }
    bool BindToInterface(SocketHandle, Ipv4Address) override { return true; }
    bool BindStream(SocketHandle, Ipv4Address, std::uint16_t port) override {
        localPort = port == 0 ? static_cast<std::uint16_t>(50000 + boundPorts.size()) : port;
        boundPorts.push_back(port);
        return Fail(takenPorts.contains(port) ? kInUseCode : bindError);
    }
    bool BindRaw(SocketHandle, Ipv4Address) override { return Fail(bindError); }
    bool GetOption(SocketHandle, SocketOption, std::uint32_t&) override { return true; }
    bool SetOption(SocketHandle, SocketOption option, std::uint32_t value) override {
        (option == SocketOption::RetryTimeoutSeconds ? lastRetrySeconds : lastTtl) = value;
        return true;
    }
    ConnectWaitResult Connect(SocketHandle, const SocketAddress&,
                              std::span<const Shared::Raii::NativeHandle> wake,
                              std::uint32_t timeoutMs) override {
        return onConnect ? onConnect(lastTtl, wake, timeoutMs) : ConnectWaitResult{};
    }
    bool LocalPort(SocketHandle, std::uint16_t& port) override {
        port = localPort;
        return true;
    }
    std::int64_t Send(SocketHandle, std::span<const std::uint8_t> bytes) override {
        return static_cast<std::int64_t>(bytes.size());
    }
    std::int64_t Receive(SocketHandle, std::span<std::uint8_t>) override { return 0; }
    void Close(SocketHandle socket) noexcept override { open.erase(socket); }
    void Abort(SocketHandle socket) noexcept override {
        open.erase(socket);
        ++aborted;
    }
    bool AnswersOnProbeSockets() const noexcept override { return answersOnProbeSockets; }
    ErrorQueueRead ReadErrorQueue(SocketHandle, std::span<std::uint8_t> control,
                                  std::span<std::uint8_t> quoted) override {
        if (errorQueue.empty()) {
            return {};
        }
        const auto [bytes, sequence] = errorQueue.front();
        errorQueue.pop_front();
        const auto copied = std::min(bytes.size(), control.size());
        std::copy_n(bytes.begin(), copied, control.begin());
        std::fill(quoted.begin(), quoted.end(), 0);
        for (std::size_t i = 4; i < std::min<std::size_t>(quoted.size(), 8); ++i) {
            quoted[i] = static_cast<std::uint8_t>(sequence >> (8 * (7 - i)));
        }
        return {true, copied, std::min<std::size_t>(quoted.size(), 8)};
    }
    std::uint32_t LastError() noexcept override { return lastError_; }
    bool EnableReceiveAll(SocketHandle) override { return true; }
    void EnlargeReceiveBuffer(SocketHandle) noexcept override {}
    Shared::Raii::NativeHandle WatchReadable(SocketHandle) override { return watch; }
    void ClearReadable(Shared::Raii::NativeHandle) noexcept override {}
    void ReleaseWatch(Shared::Raii::NativeHandle) noexcept override {}
    ReceiveResult ReceiveFrom(SocketHandle, std::span<std::uint8_t> buffer) override {
        if (datagrams.empty()) {
            return {-1, 0, 0, true};
        }
        auto next = datagrams.front();
        datagrams.pop_front();
        std::ranges::copy(bytes, buffer.begin());
        return next;
    }
    std::uint32_t ClosedSocketError() const noexcept override { return 9; }
    std::uint32_t TimedOutError() const noexcept override { return kTimedOutCode; }

    Shared::Concurrency::Event readable{true};
    Shared::Raii::NativeHandle watch = readable.Handle();  // the listener waits on it; null: fails
    std::vector<std::uint8_t> bytes;  // copied into the buffer of every datagram received

private:
    SocketHandle Open() {
        const auto socket = static_cast<SocketHandle>(next_++);
        open.insert(socket);
        return socket;
    }
    bool Fail(std::uint32_t error) {
        lastError_ = error;
        return error == 0;
    }

    std::uintptr_t next_ = 100;
    std::uint32_t lastError_ = 0;
};

}  // namespace testing_support
