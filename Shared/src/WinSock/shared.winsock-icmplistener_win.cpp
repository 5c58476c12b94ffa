// A raw ICMP socket in receive-all mode. closesocket() from another thread makes a blocked
// recvfrom() fail, which is how Close() ends the reader.

#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"

#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

#include <mstcpip.h>

namespace Shared::WinSock {
namespace {

constexpr std::size_t kBufferSize = 65535;

std::uint32_t LastError() {
    return static_cast<std::uint32_t>(::WSAGetLastError());
}

}  // namespace

ICMPListener::ICMPListener() : buffer_(kBufferSize) {}

void ICMPListener::Bind(const std::wstring& address) {
    Log::GuardedLog::Info("Attempting to bind listener to {}",
                          Shared::Util::ConvertErrorString(address));
    std::lock_guard lock(mutex_);
    if (socket_ != kInvalidSocket) {
        return;
    }
    socket_ = ::socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    if (socket_ == INVALID_SOCKET) {
        socket_ = kInvalidSocket;
        throw WinSockException("socket() failed", LastError());
    }
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = ParseIpv4Strict(address);
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        throw WinSockException("bind() failed", LastError());
    }
    DWORD mode = RCVALL_IPLEVEL;
    DWORD returned = 0;
    if (::WSAIoctl(socket_, SIO_RCVALL, &mode, sizeof mode, nullptr, 0, &returned, nullptr,
                   nullptr) != 0) {
        throw WinSockException("WSAIoctl() failed", LastError());
    }
}

ICMPTCPResponse ICMPListener::ReadNextICMPResponse() {
    for (;;) {
        SocketHandle socket = kInvalidSocket;
        {
            std::lock_guard lock(mutex_);
            socket = socket_;
        }
        sockaddr_in source{};
        int sourceLength = sizeof source;
        // Not under the lock: Close() must be able to close the socket while we block here.
        const int received =
            ::recvfrom(socket, reinterpret_cast<char*>(buffer_.data()),
                       static_cast<int>(buffer_.size()), 0,
                       reinterpret_cast<sockaddr*>(&source), &sourceLength);
        if (received == 0) {
            return {};
        }
        if (received == SOCKET_ERROR) {
            throw WinSockException("recvfrom() failed", LastError());
        }
        if (auto response = detail::ToResponse(buffer_, static_cast<std::size_t>(received),
                                               &source.sin_addr)) {
            return *std::move(response);
        }
    }
}

void ICMPListener::Close() noexcept {
    std::lock_guard lock(mutex_);
    if (socket_ == 0 || socket_ == kInvalidSocket) {
        return;
    }
    ::closesocket(socket_);
    socket_ = kInvalidSocket;
}

}  // namespace Shared::WinSock
