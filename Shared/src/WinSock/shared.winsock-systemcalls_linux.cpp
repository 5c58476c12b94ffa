// Linux socket calls. Two Windows behaviours the program relies on are provided here: the
// strong host model (a socket bound to an address also leaves through that address's
// interface) and ephemeral ports handed out in sequence (so one run never reuses a port).
// Unlike Windows, a probe's own socket is handed the ICMP errors its probe caused, once the
// kernel has checked the quoted sequence number: no raw socket and no privilege are needed.

#include "Shared/src/WinSock/shared.winsock-systemcalls.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/WinSock/shared.winsock-ephemeralports.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"

namespace Shared::WinSock {
namespace {

using Shared::Raii::NativeHandle;

// The interface index that holds `address`, 0 when none does. Looked up for every probe, not
// cached: a tunnel that reconnects comes back as a new interface with a new index.
unsigned InterfaceIndexOf(Ipv4Address address) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return 0;
    }
    unsigned index = 0;
    for (const auto* entry = list; entry != nullptr && index == 0; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr.s_addr == address) {
            index = ::if_nametoindex(entry->ifa_name);
        }
    }
    ::freeifaddrs(list);
    return index;
}

bool BindTo(int socket, Ipv4Address address, std::uint16_t port) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = address;
    local.sin_port = htons(port);
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
    return {IPPROTO_TCP, TCP_USER_TIMEOUT};  // milliseconds
}

int PollTimeout(std::chrono::steady_clock::time_point deadline, std::uint32_t timeoutMs) {
    const auto left = RemainingMs(deadline, timeoutMs);
    return left == kWaitForever ? -1 : static_cast<int>(left);
}

std::uint32_t PendingError(int socket) {
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
        return static_cast<std::uint32_t>(errno);
    }
    return static_cast<std::uint32_t>(error);
}

// POLLERR alone: an ICMP error is queued while the connect goes on (the kernel keeps it soft
// when it arrives as the socket is in use).
ConnectWaitResult SocketOutcome(int socket, short revents) {
    const auto error = PendingError(socket);
    if (error == 0 && (revents & (POLLOUT | POLLHUP)) == 0) {
        return {ConnectWaitResult::Kind::ErrorQueued};
    }
    return {ConnectWaitResult::Kind::Completed, error};
}

bool SetFlag(int socket, int level, int name) {
    const int on = 1;
    return ::setsockopt(socket, level, name, &on, sizeof on) == 0;
}

// The socket first, so that an outcome that raced a wake-up still counts.
ConnectWaitResult WaitForConnect(int socket, std::span<const NativeHandle> wakeHandles,
                                 std::uint32_t timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(
                                                                 timeoutMs == kWaitForever ? 0 : timeoutMs);
    std::vector<pollfd> fds(1 + wakeHandles.size());
    for (;;) {
        fds[0] = {socket, POLLOUT, 0};
        for (std::size_t i = 0; i < wakeHandles.size(); ++i) {
            fds[i + 1] = {wakeHandles[i], POLLIN, 0};
        }
        const int ready = ::poll(fds.data(), fds.size(), PollTimeout(deadline, timeoutMs));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready < 0) {
            return {ConnectWaitResult::Kind::Completed, static_cast<std::uint32_t>(errno)};
        }
        if (ready == 0) {
            return {ConnectWaitResult::Kind::TimedOut};
        }
        if (fds[0].revents != 0) {
            return SocketOutcome(socket, fds[0].revents);
        }
        for (std::size_t i = 1; i < fds.size(); ++i) {
            if (fds[i].revents != 0) {
                return {ConnectWaitResult::Kind::Woken, 0, i - 1};
            }
        }
    }
}

class LinuxCalls final : public SystemCalls {
public:
    // The kernel stamps received packets only while some socket asks for stamps, and turns
    // stamping on again only later, from a work queue: a probe's answer could come before.
    // So one socket asks for the whole run. Without it, an answer's time is when it was read.
    LinuxCalls() : stampKeeper_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        if (stampKeeper_ >= 0) {
            SetFlag(stampKeeper_, SOL_SOCKET, SO_TIMESTAMPNS);
        }
    }
    ~LinuxCalls() override {
        if (stampKeeper_ >= 0) {
            ::close(stampKeeper_);
        }
    }
    LinuxCalls(const LinuxCalls&) = delete;
    LinuxCalls& operator=(const LinuxCalls&) = delete;

    std::uint32_t Resolve(const std::wstring& host, std::uint32_t port,
                          std::vector<SocketAddress>& found) override {
        const auto name = Shared::Util::ConvertStringType(host);
        const auto service = std::to_string(port);
        addrinfo hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_protocol = IPPROTO_TCP;
        addrinfo* list = nullptr;
        const int result = ::getaddrinfo(name.c_str(), port == 0 ? nullptr : service.c_str(),
                                         &hints, &list);
        if (result != 0) {
            return static_cast<std::uint32_t>(result);
        }
        for (const auto* entry = list; entry != nullptr; entry = entry->ai_next) {
            const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ai_addr);
            found.push_back({AddressFamily::Ipv4, address->sin_addr.s_addr, ntohs(address->sin_port)});
        }
        ::freeaddrinfo(list);
        return 0;
    }

    // Queues the probe's ICMP errors, each with the kernel's receive time.
    SocketHandle OpenStream(const SocketAddress& target) override {
        const bool ipv6 = target.family == AddressFamily::Ipv6;
        const int socket = ::socket(ipv6 ? AF_INET6 : AF_INET,
                                    SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP);
        if (socket < 0) {
            return kInvalidSocket;
        }
        const bool queued = ipv6 ? SetFlag(socket, IPPROTO_IPV6, IPV6_RECVERR)
                                 : SetFlag(socket, IPPROTO_IP, IP_RECVERR);
        if (!queued || !SetFlag(socket, SOL_SOCKET, SO_TIMESTAMPNS)) {
            const auto error = errno;
            ::close(socket);
            errno = error;
            return kInvalidSocket;
        }
        return socket;
    }

    SocketHandle OpenRawIcmp() override {
        return ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    }

    bool BindToInterface(SocketHandle socket, Ipv4Address address) override {
        const auto index = static_cast<int>(InterfaceIndexOf(address));
        // An address no interface holds (the wildcard among them) ties to no interface.
        return index == 0 ||
               ::setsockopt(socket, SOL_SOCKET, SO_BINDTOIFINDEX, &index, sizeof index) == 0;
    }

    bool BindRaw(SocketHandle socket, Ipv4Address address) override {
        return BindTo(socket, address, 0);
    }

    bool BindStream(SocketHandle socket, Ipv4Address address, std::uint16_t port) override {
        if (port != 0) {
            // Every probe of a trace binds its port again; the probe before may still be
            // leaving it.
            return SetFlag(socket, SOL_SOCKET, SO_REUSEADDR) && BindTo(socket, address, port);
        }
        auto& ports = EphemeralPorts::Instance();
        for (std::uint32_t tries = 0; tries < ports.Count(); ++tries) {
            if (BindTo(socket, address, ports.Next())) {
                return true;
            }
            if (errno != EADDRINUSE) {
                return false;
            }
        }
        return BindTo(socket, address, 0);  // every port looked taken: let the system choose
    }

    bool GetOption(SocketHandle socket, SocketOption option, std::uint32_t& value) override {
        int current = 0;
        socklen_t length = sizeof current;
        const auto id = IdOf(option);
        if (::getsockopt(socket, id.level, id.name, &current, &length) != 0) {
            return false;
        }
        value = static_cast<std::uint32_t>(current);
        if (option == SocketOption::RetryTimeoutSeconds) {
            value /= 1000;
        }
        return true;
    }

    bool SetOption(SocketHandle socket, SocketOption option, std::uint32_t value) override {
        const int setting = static_cast<int>(
            option == SocketOption::RetryTimeoutSeconds ? ClampedMilliseconds(value) : value);
        const auto id = IdOf(option);
        return ::setsockopt(socket, id.level, id.name, &setting, sizeof setting) == 0;
    }

    ConnectWaitResult Connect(SocketHandle socket, const SocketAddress& target,
                              std::span<const NativeHandle> wakeHandles,
                              std::uint32_t timeoutMs) override {
        sockaddr_in remote{};
        remote.sin_family = AF_INET;
        remote.sin_addr.s_addr = target.address;
        remote.sin_port = htons(target.port);
        ConnectWaitResult result;
        // Called again after an error that was queued and refused: EALREADY while the connect
        // goes on, EISCONN once it has succeeded meanwhile.
        if (::connect(socket, reinterpret_cast<const sockaddr*>(&remote), sizeof remote) != 0 &&
            errno != EISCONN) {
            if (errno != EINPROGRESS && errno != EALREADY) {
                return {ConnectWaitResult::Kind::Completed, static_cast<std::uint32_t>(errno)};
            }
            result = WaitForConnect(socket, wakeHandles, timeoutMs);
        }
        if (result.kind == ConnectWaitResult::Kind::Completed && result.error == 0) {
            ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) & ~O_NONBLOCK);
        }
        return result;
    }

    bool LocalPort(SocketHandle socket, std::uint16_t& port) override {
        sockaddr_in local{};
        socklen_t length = sizeof local;
        if (::getsockname(socket, reinterpret_cast<sockaddr*>(&local), &length) != 0) {
            return false;
        }
        port = ntohs(local.sin_port);
        return true;
    }

    std::int64_t Send(SocketHandle socket, std::span<const std::uint8_t> bytes) override {
        return ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    std::int64_t Receive(SocketHandle socket, std::span<std::uint8_t> bytes) override {
        return ::recv(socket, bytes.data(), bytes.size(), 0);
    }

    void Close(SocketHandle socket) noexcept override { ::close(socket); }

    void Abort(SocketHandle socket) noexcept override {
        const linger reset{1, 0};
        ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        ::close(socket);
    }

    bool AnswersOnProbeSockets() const noexcept override { return true; }

    ErrorQueueRead ReadErrorQueue(SocketHandle socket, std::span<std::uint8_t> control,
                                  std::span<std::uint8_t> quoted) override {
        iovec data{quoted.data(), quoted.size()};
        msghdr message{};
        message.msg_iov = &data;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const auto received = ::recvmsg(socket, &message, MSG_ERRQUEUE | MSG_DONTWAIT);
        if (received < 0) {
            return {};
        }
        return {true, message.msg_controllen, static_cast<std::size_t>(received)};
    }

    std::uint32_t LastError() noexcept override { return static_cast<std::uint32_t>(errno); }

    // A raw IPPROTO_ICMP socket already receives every ICMP datagram with its IP header.
    bool EnableReceiveAll(SocketHandle) override { return true; }

    void EnlargeReceiveBuffer(SocketHandle socket) noexcept override {
        constexpr int kBytes = 8 << 20;
        if (::setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &kBytes, sizeof kBytes) != 0) {
            ::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &kBytes, sizeof kBytes);
        }
    }

    // A descriptor is its own readiness: poll sees it readable while data waits.
    NativeHandle WatchReadable(SocketHandle socket) override { return socket; }
    void ClearReadable(NativeHandle) noexcept override {}
    void ReleaseWatch(NativeHandle) noexcept override {}

    ReceiveResult ReceiveFrom(SocketHandle socket, std::span<std::uint8_t> buffer) override {
        sockaddr_in source{};
        socklen_t sourceLength = sizeof source;
        const auto received = ::recvfrom(socket, buffer.data(), buffer.size(), MSG_DONTWAIT,
                                          reinterpret_cast<sockaddr*>(&source), &sourceLength);
        if (received < 0) {
            const auto error = errno;
            return {-1, static_cast<std::uint32_t>(error), 0,
                    error == EAGAIN || error == EWOULDBLOCK || error == EINTR};
        }
        return {received, 0, source.sin_addr.s_addr};
    }

    std::uint32_t ClosedSocketError() const noexcept override { return EBADF; }
    std::uint32_t TimedOutError() const noexcept override { return ETIMEDOUT; }

private:
    int stampKeeper_;
};

}  // namespace

SystemCalls& PlatformCalls() {
    static LinuxCalls calls;
    return calls;
}

bool IsProbeExpiryError(std::uint32_t code) noexcept {
    // A time-exceeded answer leaves EHOSTUNREACH on the socket; no answer before the retry
    // bound gives ETIMEDOUT.
    return code == ETIMEDOUT || code == EHOSTUNREACH;
}

// Linux needs no socket library start-up; the flag keeps both platforms' life cycles alike.
void WinSockInitialiser::Initialise() {
    initialised_ = true;
}

WinSockInitialiser::~WinSockInitialiser() = default;

}  // namespace Shared::WinSock
