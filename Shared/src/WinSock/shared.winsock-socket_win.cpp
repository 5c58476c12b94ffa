#include "Shared/src/WinSock/shared.winsock-socket.hpp"

#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace Shared::WinSock {
namespace {

// Not in mingw's headers: the TCP option that bounds SYN retransmission, in seconds.
constexpr int kTcpMaxRt = 5;

std::uint32_t LastError() {
    return static_cast<std::uint32_t>(::WSAGetLastError());
}

}  // namespace

bool IsProbeExpiryError(std::uint32_t code) noexcept {
    return code == WSAETIMEDOUT;
}

void Socket::AddrInfoDeleter::operator()(AddressInfo* list) const noexcept {
    ::FreeAddrInfoW(list);
}

bool Socket::HasHandle() const noexcept {
    return handle_ != 0 && handle_ != kInvalidSocket;
}

void Socket::Open() {
    const auto service = port_ == 0 ? std::wstring() : std::to_wstring(port_);
    ADDRINFOW hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    ADDRINFOW* list = nullptr;
    const int result = ::GetAddrInfoW(address_.c_str(), service.c_str(), &hints, &list);
    if (result != 0) {
        throw WinSockException("GetAddrInfoW() failed", static_cast<std::uint32_t>(result));
    }
    addressInfo_.reset(list);
    if (list == nullptr) {
        throw WinSockException("GetAddrInfoW() did not find any valid interfaces", 0);
    }
    handle_ = ::socket(list->ai_family, list->ai_socktype, list->ai_protocol);
    if (handle_ == INVALID_SOCKET) {
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
        local.sin_port = ::htons(localPort);
    }
    if (::bind(handle_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        throw WinSockException("bind() failed", LastError());
    }
}

void Socket::ConnectToTarget() {
    const auto* target = addressInfo_.get();
    if (target == nullptr) {
        throw WinSockException("connect() failed", WSAEDESTADDRREQ);
    }
    if (::connect(handle_, target->ai_addr, static_cast<int>(target->ai_addrlen)) != 0) {
        throw WinSockException("connect() failed", LastError());
    }
}

void Socket::Close() noexcept {
    if (HasHandle()) {
        ::closesocket(handle_);
        handle_ = kInvalidSocket;
    }
}

void Socket::Send(const std::vector<std::uint8_t>& bytes) {
    if (!HasHandle()) {
        throw WinSockException("Socket is not valid", 0);
    }
    if (::send(handle_, reinterpret_cast<const char*>(bytes.data()),
               static_cast<int>(bytes.size()), 0) == SOCKET_ERROR) {
        throw WinSockException("send() failed", LastError());
    }
}

std::vector<std::uint8_t> Socket::Receive(std::uint32_t maximumBytes) {
    if (!HasHandle()) {
        throw WinSockException("Socket is not valid", 0);
    }
    std::vector<std::uint8_t> bytes(maximumBytes);
    const int received = ::recv(handle_, reinterpret_cast<char*>(bytes.data()),
                                static_cast<int>(bytes.size()), 0);
    if (received == SOCKET_ERROR) {
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
    DWORD current = 0;
    int length = sizeof current;
    if (::getsockopt(handle_, level, option, reinterpret_cast<char*>(&current), &length) != 0) {
        throw WinSockException("TTL option is not support", LastError());
    }
    const DWORD value = ttl;
    if (::setsockopt(handle_, level, option, reinterpret_cast<const char*>(&value),
                     sizeof value) != 0) {
        throw WinSockException("setsockopt() failed", LastError());
    }
}

void Socket::SetMaxRetryTimeout(std::uint32_t seconds) {
    if (!HasHandle()) {
        throw WinSockException("Not in a valid state to set TTL support", 0);
    }
    DWORD current = 0;
    int length = sizeof current;
    if (::getsockopt(handle_, IPPROTO_TCP, kTcpMaxRt, reinterpret_cast<char*>(&current),
                     &length) != 0) {
        throw WinSockException("RT option is not supported", LastError());
    }
    const DWORD value = seconds;
    if (::setsockopt(handle_, IPPROTO_TCP, kTcpMaxRt, reinterpret_cast<const char*>(&value),
                     sizeof value) != 0) {
        throw WinSockException("setsockopt() failed", LastError());
    }
}

std::uint32_t Socket::GetLocalPort() {
    sockaddr_in local{};
    int length = sizeof local;
    if (::getsockname(handle_, reinterpret_cast<sockaddr*>(&local), &length) != 0) {
        throw WinSockException("getsockname() failed", LastError());
    }
    return ::ntohs(local.sin_port);
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
