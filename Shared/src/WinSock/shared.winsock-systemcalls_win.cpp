// Windows socket calls. The strong host model and sequential ephemeral ports that the program
// relies on are this system's own behaviour, so binding needs no help here.

#include "Shared/src/WinSock/shared.winsock-systemcalls.hpp"

#include <algorithm>
#include <chrono>
#include <climits>

#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"
#include "Shared/src/WinSock/shared.winsock-wine.hpp"

#include <mstcpip.h>

namespace Shared::WinSock {
namespace {

using Shared::Raii::NativeHandle;

// Not in mingw's headers: the TCP option that bounds SYN retransmission, in seconds.
constexpr int kTcpMaxRt = 5;

std::uint32_t LastSocketError() noexcept {
    return static_cast<std::uint32_t>(::WSAGetLastError());
}

int ByteCount(std::size_t size) noexcept {
    return static_cast<int>(std::min<std::size_t>(size, INT_MAX));
}

bool BindTo(SocketHandle socket, Ipv4Address address, std::uint16_t port) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = address;
    local.sin_port = ::htons(port);
    return ::bind(socket, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
}

struct OptionId {
    int level;
    int name;
};

OptionId IdOf(SocketOption option) {
    switch (option) {
    case SocketOption::Ttl:
        return {IPPROTO_IP, IP_TTL};
    case SocketOption::HopLimit:
        return {IPPROTO_IPV6, IPV6_UNICAST_HOPS};
    case SocketOption::RetryTimeoutSeconds:
        break;
    }
    return {IPPROTO_TCP, kTcpMaxRt};
}

// After a failed option call: true when the option is the retry bound and Wine refused it, so
// the probe's wait keeps the time-out alone. Otherwise the last error stays the failure's.
bool DoneWithoutRetryBound(SocketOption option) noexcept {
    const auto error = LastSocketError();
    if (option == SocketOption::RetryTimeoutSeconds &&
        PlatformRefusals().Tolerate(WineGap::RetryTimeout, error)) {
        return true;
    }
    ::WSASetLastError(static_cast<int>(error));
    return false;
}

// Rounded down, so the wait never outlasts its limit.
DWORD RemainingMs(std::chrono::steady_clock::time_point deadline, std::uint32_t timeoutMs) {
    if (timeoutMs == kWaitForever) {
        return INFINITE;
    }
    const auto left = std::chrono::floor<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    return static_cast<DWORD>(std::max<std::int64_t>(0, left.count()));
}

// The socket's event first, so that an outcome that raced a wake-up still counts.
ConnectWaitResult WaitForConnect(SocketHandle socket, WSAEVENT connected,
                                 std::span<const NativeHandle> wakeHandles,
                                 std::uint32_t timeoutMs) {
    const auto limit = std::chrono::milliseconds(timeoutMs == kWaitForever ? 0 : timeoutMs);
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::vector<HANDLE> handles{connected};
    handles.insert(handles.end(), wakeHandles.begin(), wakeHandles.end());
    for (;;) {
        const DWORD woken = ::WaitForMultipleObjects(static_cast<DWORD>(handles.size()),
                                                     handles.data(), FALSE,
                                                     RemainingMs(deadline, timeoutMs));
        if (woken == WAIT_FAILED) {
            return {ConnectWaitResult::Kind::Completed, static_cast<std::uint32_t>(::GetLastError())};
        }
        if (woken == WAIT_TIMEOUT) {
            return {ConnectWaitResult::Kind::TimedOut};
        }
        if (woken != WAIT_OBJECT_0) {
            return {ConnectWaitResult::Kind::Woken, 0, woken - WAIT_OBJECT_0 - 1};
        }
        WSANETWORKEVENTS events{};
        if (::WSAEnumNetworkEvents(socket, connected, &events) != 0) {
            return {ConnectWaitResult::Kind::Completed, LastSocketError()};
        }
        if ((events.lNetworkEvents & FD_CONNECT) != 0) {
            return {ConnectWaitResult::Kind::Completed,
                    static_cast<std::uint32_t>(events.iErrorCode[FD_CONNECT_BIT])};
        }
    }
}

ConnectWaitResult ConnectSignalling(SocketHandle socket, WSAEVENT connected,
                                    const SocketAddress& target,
                                    std::span<const NativeHandle> wakeHandles,
                                    std::uint32_t timeoutMs) {
    if (::WSAEventSelect(socket, connected, FD_CONNECT) != 0) {
        return {ConnectWaitResult::Kind::Completed, LastSocketError()};
    }
    sockaddr_in remote{};
    remote.sin_family = AF_INET;
    remote.sin_addr.s_addr = target.address;
    remote.sin_port = ::htons(target.port);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&remote), sizeof remote) == 0) {
        return {};
    }
    const auto error = LastSocketError();
    if (error != WSAEWOULDBLOCK) {
        return {ConnectWaitResult::Kind::Completed, error};
    }
    return WaitForConnect(socket, connected, wakeHandles, timeoutMs);
}

class WindowsCalls final : public SystemCalls {
public:
    std::uint32_t Resolve(const std::wstring& host, std::uint32_t port,
                          std::vector<SocketAddress>& found) override {
        const auto service = port == 0 ? std::wstring() : std::to_wstring(port);
        ADDRINFOW hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_protocol = IPPROTO_TCP;
        ADDRINFOW* list = nullptr;
        const int result = ::GetAddrInfoW(host.c_str(), service.c_str(), &hints, &list);
        if (result != 0) {
            return static_cast<std::uint32_t>(result);
        }
        for (const auto* entry = list; entry != nullptr; entry = entry->ai_next) {
            const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ai_addr);
            found.push_back({AddressFamily::Ipv4, address->sin_addr.s_addr, ::ntohs(address->sin_port)});
        }
        ::FreeAddrInfoW(list);
        return 0;
    }

    SocketHandle OpenStream(const SocketAddress& target) override {
        const int family = target.family == AddressFamily::Ipv6 ? AF_INET6 : AF_INET;
        return ::socket(family, SOCK_STREAM, IPPROTO_TCP);
    }

    SocketHandle OpenRawIcmp() override { return ::socket(AF_INET, SOCK_RAW, IPPROTO_ICMP); }

    // The strong host model already sends from the interface that holds the bound address.
    bool BindToInterface(SocketHandle, Ipv4Address) override { return true; }

    bool BindStream(SocketHandle socket, Ipv4Address address, std::uint16_t port) override {
        return BindTo(socket, address, port);
    }

    bool BindRaw(SocketHandle socket, Ipv4Address address) override {
        return BindTo(socket, address, 0);
    }

    bool GetOption(SocketHandle socket, SocketOption option, std::uint32_t& value) override {
        const auto id = IdOf(option);
        DWORD current = 0;
        int length = sizeof current;
        if (::getsockopt(socket, id.level, id.name, reinterpret_cast<char*>(&current), &length) != 0) {
            return DoneWithoutRetryBound(option);
        }
        value = current;
        return true;
    }

    bool SetOption(SocketHandle socket, SocketOption option, std::uint32_t value) override {
        const auto id = IdOf(option);
        const DWORD setting = value;
        return ::setsockopt(socket, id.level, id.name, reinterpret_cast<const char*>(&setting),
                            sizeof setting) == 0 ||
               DoneWithoutRetryBound(option);
    }

    ConnectWaitResult Connect(SocketHandle socket, const SocketAddress& target,
                              std::span<const NativeHandle> wakeHandles,
                              std::uint32_t timeoutMs) override {
        const WSAEVENT connected = ::WSACreateEvent();
        if (connected == WSA_INVALID_EVENT) {
            return {ConnectWaitResult::Kind::Completed, LastSocketError()};
        }
        const auto result = ConnectSignalling(socket, connected, target, wakeHandles, timeoutMs);
        // The event selection made the socket non-blocking; the caller reads and writes it
        // blocking.
        ::WSAEventSelect(socket, nullptr, 0);
        u_long nonBlocking = 0;
        ::ioctlsocket(socket, FIONBIO, &nonBlocking);
        ::WSACloseEvent(connected);
        return result;
    }

    bool LocalPort(SocketHandle socket, std::uint16_t& port) override {
        sockaddr_in local{};
        int length = sizeof local;
        if (::getsockname(socket, reinterpret_cast<sockaddr*>(&local), &length) != 0) {
            return false;
        }
        port = ::ntohs(local.sin_port);
        return true;
    }

    std::int64_t Send(SocketHandle socket, std::span<const std::uint8_t> bytes) override {
        return ::send(socket, reinterpret_cast<const char*>(bytes.data()), ByteCount(bytes.size()), 0);
    }

    std::int64_t Receive(SocketHandle socket, std::span<std::uint8_t> bytes) override {
        return ::recv(socket, reinterpret_cast<char*>(bytes.data()), ByteCount(bytes.size()), 0);
    }

    void Close(SocketHandle socket) noexcept override { ::closesocket(socket); }

    void Abort(SocketHandle socket) noexcept override {
        const ::linger reset{1, 0};
        ::setsockopt(socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&reset),
                     sizeof reset);
        ::closesocket(socket);
    }

    // Windows TCP ignores ICMP errors during a connect: the raw listeners catch the answers.
    bool AnswersOnProbeSockets() const noexcept override { return false; }
    ErrorQueueRead ReadErrorQueue(SocketHandle, std::span<std::uint8_t>,
                                  std::span<std::uint8_t>) override {
        return {};
    }

    std::uint32_t LastError() noexcept override { return LastSocketError(); }

    bool EnableReceiveAll(SocketHandle socket) override {
        DWORD mode = RCVALL_IPLEVEL;
        DWORD returned = 0;
        if (::WSAIoctl(socket, SIO_RCVALL, &mode, sizeof mode, nullptr, 0, &returned, nullptr,
                       nullptr) == 0) {
            return true;
        }
        const auto error = LastSocketError();
        if (PlatformRefusals().Tolerate(WineGap::ReceiveAll, error)) {
            return true;
        }
        ::WSASetLastError(static_cast<int>(error));
        return false;
    }

    void EnlargeReceiveBuffer(SocketHandle socket) noexcept override {
        constexpr int kBytes = 8 << 20;
        ::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&kBytes),
                     sizeof kBytes);
    }

    // The event selection also makes the socket non-blocking, which ReceiveFrom needs.
    NativeHandle WatchReadable(SocketHandle socket) override {
        const WSAEVENT readable = ::WSACreateEvent();
        if (readable != WSA_INVALID_EVENT &&
            ::WSAEventSelect(socket, readable, FD_READ | FD_CLOSE) != 0) {
            const auto error = ::WSAGetLastError();
            ::WSACloseEvent(readable);
            ::WSASetLastError(error);
            return WSA_INVALID_EVENT;
        }
        return readable;
    }

    void ClearReadable(NativeHandle watch) noexcept override { ::WSAResetEvent(watch); }

    void ReleaseWatch(NativeHandle watch) noexcept override {
        if (watch != WSA_INVALID_EVENT) {
            ::WSACloseEvent(watch);
        }
    }

    ReceiveResult ReceiveFrom(SocketHandle socket, std::span<std::uint8_t> buffer) override {
        sockaddr_in source{};
        int sourceLength = sizeof source;
        const int received = ::recvfrom(socket, reinterpret_cast<char*>(buffer.data()),
                                        ByteCount(buffer.size()), 0,
                                        reinterpret_cast<sockaddr*>(&source), &sourceLength);
        if (received == SOCKET_ERROR) {
            const auto error = LastSocketError();
            return {-1, error, 0, error == WSAEWOULDBLOCK};
        }
        return {received, 0, source.sin_addr.s_addr};
    }

    std::uint32_t ClosedSocketError() const noexcept override { return WSAENOTSOCK; }
    std::uint32_t TimedOutError() const noexcept override { return WSAETIMEDOUT; }
};

}  // namespace

SystemCalls& PlatformCalls() {
    static WindowsCalls calls;
    return calls;
}

bool IsProbeExpiryError(std::uint32_t code) noexcept {
    // Under Wine the Linux kernel beneath ends a SYN whose TTL ran out with host unreachable at
    // the router's answer, as it does for the Linux build.
    static const bool underWine = RunningUnderWine();
    return code == WSAETIMEDOUT || (underWine && code == WSAEHOSTUNREACH);
}

void WinSockInitialiser::Initialise() {
    WSADATA data{};
    const int result = ::WSAStartup(MAKEWORD(2, 2), &data);
    if (result != 0) {
        throw WinSockException("WSAStartup() failed", static_cast<std::uint32_t>(result));
    }
    initialised_ = true;
}

WinSockInitialiser::~WinSockInitialiser() {
    if (initialised_) {
        ::WSACleanup();
    }
}

}  // namespace Shared::WinSock
