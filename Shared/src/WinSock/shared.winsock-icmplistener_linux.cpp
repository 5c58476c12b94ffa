// Linux's raw IPPROTO_ICMP socket already receives every ICMP datagram with its IP header, so
// no receive-all switch is needed. close() does not wake a blocked recvfrom() here, so the
// reader waits on the socket together with an event that Close() signals.

#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace Shared::WinSock {
namespace {

constexpr std::size_t kBufferSize = 65535;
constexpr int kReceiveBufferBytes = 8 << 20;

}  // namespace

ICMPListener::ICMPListener() : closed_(true), buffer_(kBufferSize) {}

void ICMPListener::Bind(const std::wstring& address) {
    Log::GuardedLog::Info("Attempting to bind listener to {}",
                          Shared::Util::ConvertErrorString(address));
    std::lock_guard lock(mutex_);
    if (socket_ != kInvalidSocket) {
        return;
    }
    socket_ = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (socket_ < 0) {
        socket_ = kInvalidSocket;
        throw WinSockException("socket() failed", static_cast<std::uint32_t>(errno));
    }
    closed_.Reset();
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = ParseIpv4Strict(address);
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        throw WinSockException("bind() failed", static_cast<std::uint32_t>(errno));
    }
    // Room for bursts of answers while the reader is busy; best effort, the default still works.
    const int bytes = kReceiveBufferBytes;
    if (::setsockopt(socket_, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0) {
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    }
}

ICMPTCPResponse ICMPListener::ReadNextICMPResponse() {
    for (;;) {
        SocketHandle socket = kInvalidSocket;
        {
            std::lock_guard lock(mutex_);
            socket = socket_;
        }
        if (socket == kInvalidSocket) {
            throw WinSockException("recvfrom() failed", EBADF);
        }
        sockaddr_in source{};
        socklen_t sourceLength = sizeof source;
        ssize_t received = 0;
        {
            std::lock_guard lock(mutex_);
            if (socket_ == kInvalidSocket) {
                throw WinSockException("recvfrom() failed", EBADF);
            }
            received = ::recvfrom(socket_, buffer_.data(), buffer_.size(), MSG_DONTWAIT,
                                  reinterpret_cast<sockaddr*>(&source), &sourceLength);
        }
        // Wait only when nothing is queued: a burst is drained without a poll per datagram.
        if (received < 0 && (errno == EAGAIN || errno == EINTR)) {
            pollfd fds[2] = {{socket, POLLIN, 0}, {closed_.Handle(), POLLIN, 0}};
            if (::poll(fds, 2, -1) < 0 && errno != EINTR) {
                throw WinSockException("recvfrom() failed", static_cast<std::uint32_t>(errno));
            }
            if (fds[1].revents & POLLIN) {
                throw WinSockException("recvfrom() failed", EBADF);
            }
            continue;
        }
        if (received < 0) {
            throw WinSockException("recvfrom() failed", static_cast<std::uint32_t>(errno));
        }
        if (received == 0) {
            return {};
        }
        if (auto response = detail::ToResponse(buffer_, static_cast<std::size_t>(received),
                                               &source.sin_addr)) {
            return *std::move(response);
        }
    }
}

void ICMPListener::Close() noexcept {
    std::lock_guard lock(mutex_);
    if (socket_ == kInvalidSocket) {
        return;
    }
    try {
        closed_.Signal();
    } catch (...) {
    }
    ::close(socket_);
    socket_ = kInvalidSocket;
}

}  // namespace Shared::WinSock
