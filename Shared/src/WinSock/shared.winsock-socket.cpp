#include "Shared/src/WinSock/shared.winsock-socket.hpp"

namespace Shared::WinSock {

Socket::Socket(std::wstring address, std::uint32_t port)
    : address_(std::move(address)), port_(port) {}

Socket::~Socket() {
    Close();
}

Socket& Socket::operator=(Socket&& other) noexcept {
    if (this != &other) {
        Close();
        address_ = std::move(other.address_);
        port_ = other.port_;
        handle_ = other.handle_;
        other.handle_ = kInvalidSocket;
        family_ = other.family_;
    }
    return *this;
}

void Socket::Connect(std::uint32_t ttl, std::uint32_t retrySeconds) {
    if (ttl != 0) {
        SetSocketTTL(ttl);
    }
    if (retrySeconds != 0) {
        SetMaxRetryTimeout(retrySeconds);
    }
    ConnectToTarget();
}

}  // namespace Shared::WinSock
