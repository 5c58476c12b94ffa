#include "Shared/src/WinSock/shared.winsock-socket.hpp"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace Shared::WinSock {
namespace {

std::uint32_t LastError() {
    return static_cast<std::uint32_t>(errno);
}

}  // namespace

bool IsProbeExpiryError(std::uint32_t code) noexcept {
    // Linux fails the connect at once with EHOSTUNREACH when the time-exceeded answer arrives,
    // and with ETIMEDOUT when no answer came before the retry bound.
    return code == ETIMEDOUT || code == EHOSTUNREACH;
}

void Socket::AddrInfoDeleter::operator()(AddressInfo* list) const noexcept {
    ::freeaddrinfo(list);
}

bool Socket::HasHandle() const noexcept {
    return handle_ != kInvalidSocket;
}

void Socket::Open() {
    const auto host = Shared::Util::ConvertStringType(address_);
    const auto service = port_ == 0 ? std::string() : std::to_string(port_);
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo* list = nullptr;
    const int result =
        ::getaddrinfo(host.c_str(), service.empty() ? nullptr : service.c_str(), &hints, &list);
    if (result != 0) {
        throw WinSockException("GetAddrInfoW() failed", static_cast<std::uint32_t>(result));
    }
    addressInfo_.reset(list);
    if (list == nullptr) {
        throw WinSockException("GetAddrInfoW() did not find any valid interfaces", 0);
    }
    handle_ = ::socket(list->ai_family, list->ai_socktype | SOCK_CLOEXEC, list->ai_protocol);
    if (handle_ < 0) {
        throw WinSockException("socket() failed", LastError());
    }
    family_ = list->ai_family;
}

void Socket::Bind(const std::wstring& localAddress, std::uint16_t localPort) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = ParseIpv4Strict(localAddress);
    if (localPort != 0) {
        Log::GuardedLog::Debug("Binding to local port {}", localPort);
        local.sin_port = htons(localPort);
    }
    if (::bind(handle_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        throw WinSockException("bind() failed", LastError());
    }
}

void Socket::ConnectToTarget() {
    const auto* target = addressInfo_.get();
    if (target == nullptr ||
        ::connect(handle_, target->ai_addr, static_cast<socklen_t>(target->ai_addrlen)) != 0) {
        throw WinSockException("connect() failed", target == nullptr ? EDESTADDRREQ : LastError());
    }
}

void Socket::Close() noexcept {
    if (HasHandle()) {
        ::close(handle_);
        handle_ = kInvalidSocket;
    }
}

void Socket::Send(const std::vector<std::uint8_t>& bytes) {
    if (!HasHandle()) {
        throw WinSockException("Socket is not valid", 0);
    }
    if (::send(handle_, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) {
        throw WinSockException("send() failed", LastError());
    }
}

std::vector<std::uint8_t> Socket::Receive(std::uint32_t maximumBytes) {
    if (!HasHandle()) {
        throw WinSockException("Socket is not valid", 0);
    }
    std::vector<std::uint8_t> bytes(maximumBytes);
    const auto received = ::recv(handle_, bytes.data(), bytes.size(), 0);
    if (received < 0) {
        throw WinSockException("recv() failed", LastError());
    }
    bytes.resize(static_cast<std::size_t>(received));
    return bytes;
}

void Socket::SetSocketTTL(std::uint32_t ttl) {
    if (!HasHandle()) {
        throw WinSockException("Not in a valid state to set TTL support", 0);
    }
    int level = 0;
    int option = 0;
    if (family_ == AF_INET) {
        level = IPPROTO_IP, option = IP_TTL;
    } else if (family_ == AF_INET6) {
        level = IPPROTO_IPV6, option = IPV6_UNICAST_HOPS;
    } else {
        throw WinSockException("Unknown address family", 0);
    }
    int current = 0;
    socklen_t length = sizeof current;
    if (::getsockopt(handle_, level, option, &current, &length) != 0) {
        throw WinSockException("TTL option is not support", LastError());
    }
    const int value = static_cast<int>(ttl);
    if (::setsockopt(handle_, level, option, &value, sizeof value) != 0) {
        throw WinSockException("setsockopt() failed", LastError());
    }
}

void Socket::SetMaxRetryTimeout(std::uint32_t seconds) {
    if (!HasHandle()) {
        throw WinSockException("Not in a valid state to set TTL support", 0);
    }
    unsigned int current = 0;
    socklen_t length = sizeof current;
    if (::getsockopt(handle_, IPPROTO_TCP, TCP_USER_TIMEOUT, &current, &length) != 0) {
        throw WinSockException("RT option is not supported", LastError());
    }
    // Milliseconds here; it bounds the SYN retransmissions of a blocking connect.
    const unsigned int milliseconds = seconds * 1000;
    if (::setsockopt(handle_, IPPROTO_TCP, TCP_USER_TIMEOUT, &milliseconds, sizeof milliseconds) !=
        0) {
        throw WinSockException("setsockopt() failed", LastError());
    }
}

std::uint32_t Socket::GetLocalPort() {
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (::getsockname(handle_, reinterpret_cast<sockaddr*>(&local), &length) != 0) {
        throw WinSockException("getsockname() failed", LastError());
    }
    return ntohs(local.sin_port);
}

// Linux needs no socket library start-up; the flag keeps both platforms' life cycles alike.
void WinSockInitialiser::Initialise() {
    initialised_ = true;
}

WinSockInitialiser::~WinSockInitialiser() = default;

}  // namespace Shared::WinSock
