#include "Shared/src/WinSock/shared.winsock-socket.hpp"

#include <algorithm>
#include <chrono>
#include <limits>

#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace Shared::WinSock {

std::uint32_t RemainingMs(std::chrono::steady_clock::time_point deadline, std::uint32_t timeoutMs) {
    if (timeoutMs == kWaitForever) {
        return kWaitForever;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    return static_cast<std::uint32_t>(std::max<std::int64_t>(0, left.count()));
}

std::uint32_t ClampedMilliseconds(std::uint32_t seconds) noexcept {
    // Both platforms' waits and Linux's TCP_USER_TIMEOUT take a signed 32-bit count.
    constexpr std::uint64_t kLimit = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(std::uint64_t{seconds} * 1000, kLimit));
}

Socket::Socket(std::wstring address, std::uint32_t port, SystemCalls& calls)
    : calls_(&calls), address_(std::move(address)), port_(port) {}

Socket::~Socket() {
    Close();
}

Socket& Socket::operator=(Socket&& other) noexcept {
    if (this != &other) {
        Close();
        calls_ = other.calls_;
        address_ = std::move(other.address_);
        port_ = other.port_;
        handle_ = other.handle_;
        other.handle_ = kInvalidSocket;
        family_ = other.family_;
    }
    return *this;
}

bool Socket::HasHandle() const noexcept {
    return IsValidSocket(handle_);
}

void Socket::Open() {
    std::vector<SocketAddress> found;
    const auto result = calls_->Resolve(address_, port_, found);
    if (result != 0) {
        throw WinSockException("GetAddrInfoW() failed", result);
    }
    endpoints_ = std::move(found);
    if (endpoints_.empty()) {
        throw WinSockException("GetAddrInfoW() did not find any valid interfaces", 0);
    }
    const auto& first = endpoints_.front();
    handle_ = calls_->OpenStream(first);
    if (!HasHandle()) {
        const auto error = calls_->LastError();
        handle_ = kInvalidSocket;
        throw WinSockException("socket() failed", error);
    }
    family_ = first.family;
    retrySeconds_ = 0;
}

void Socket::Bind(const std::wstring& localAddress, std::uint16_t localPort) {
    const auto address = ParseIpv4Strict(localAddress);
    if (localPort != 0) {
        Log::GuardedLog::Debug("Binding to local port {}", localPort);
    }
    if (!calls_->BindToInterface(handle_, address) || !calls_->BindStream(handle_, address, localPort)) {
        const auto error = calls_->LastError();
        Close();
        throw WinSockException("bind() failed", error);
    }
}

ConnectOutcome Socket::TryConnect(std::uint32_t ttl, std::uint32_t retrySeconds,
                                  std::span<const Shared::Raii::NativeHandle> wakeHandles) {
    using Status = ConnectOutcome::Status;
    if (ttl != 0) {
        SetSocketTTL(ttl);
    }
    if (retrySeconds != 0) {
        SetMaxRetryTimeout(retrySeconds);
    }
    if (endpoints_.empty() || !HasHandle()) {
        return {Status::Failed, calls_->ClosedSocketError()};
    }
    // The stack's own retry bound may be ignored; the wait keeps the limit regardless.
    const auto timeoutMs = retrySeconds_ == 0 ? kWaitForever : ClampedMilliseconds(retrySeconds_);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    auto waited = calls_->Connect(handle_, endpoints_.front(), wakeHandles, timeoutMs);
    // A queued error that is not the probe's own answer leaves the connect going on.
    for (; waited.kind == ConnectWaitResult::Kind::ErrorQueued;
         waited = calls_->Connect(handle_, endpoints_.front(), wakeHandles,
                                  RemainingMs(deadline, timeoutMs))) {
        if (auto outcome = QueuedAnswer(0)) {
            return *outcome;
        }
    }
    switch (waited.kind) {
    case ConnectWaitResult::Kind::TimedOut:
        return {Status::TimedOut, calls_->TimedOutError()};
    case ConnectWaitResult::Kind::Woken:
        return {Status::Woken, 0, waited.wokenIndex};
    case ConnectWaitResult::Kind::ErrorQueued:
    case ConnectWaitResult::Kind::Completed:
        break;
    }
    if (waited.error == 0) {
        return {Status::Connected};
    }
    if (calls_->AnswersOnProbeSockets()) {
        if (auto outcome = QueuedAnswer(waited.error)) {
            return *outcome;
        }
    }
    if (waited.error == calls_->TimedOutError()) {
        return {Status::TimedOut, waited.error};
    }
    return {Status::Failed, waited.error};
}

// What the socket's error queue says of the probe; nothing when it holds no ICMP error.
std::optional<ConnectOutcome> Socket::QueuedAnswer(std::uint32_t error) {
    using Status = ConnectOutcome::Status;
    const auto answer = ReadQueuedIcmpError(*calls_, handle_);
    if (!answer) {
        return std::nullopt;
    }
    if (answer->type != kIcmpTimeExceeded) {
        return ConnectOutcome{Status::TimedOut, error};
    }
    return ConnectOutcome{Status::Answered, error, 0, answer};
}

void Socket::Connect(std::uint32_t ttl, std::uint32_t retrySeconds) {
    const auto outcome = TryConnect(ttl, retrySeconds);
    if (outcome.status != ConnectOutcome::Status::Connected) {
        throw WinSockException("connect() failed", outcome.error);
    }
}

void Socket::Close() noexcept {
    if (HasHandle()) {
        calls_->Abort(handle_);
        handle_ = kInvalidSocket;
    }
}

void Socket::Send(const std::vector<std::uint8_t>& bytes) {
    if (!HasHandle()) {
        throw WinSockException("Socket is not valid", 0);
    }
    if (calls_->Send(handle_, bytes) < 0) {
        const auto error = calls_->LastError();
        throw WinSockException("send() failed", error);
    }
}

std::vector<std::uint8_t> Socket::Receive(std::uint32_t maximumBytes) {
    if (!HasHandle()) {
        throw WinSockException("Socket is not valid", 0);
    }
    std::vector<std::uint8_t> bytes(maximumBytes);
    const auto received = calls_->Receive(handle_, bytes);
    if (received < 0) {
        const auto error = calls_->LastError();
        throw WinSockException("recv() failed", error);
    }
    bytes.resize(static_cast<std::size_t>(received));
    return bytes;
}

void Socket::SetCheckedOption(SocketOption option, std::uint32_t value, const char* probeFailure) {
    std::uint32_t current = 0;
    if (!calls_->GetOption(handle_, option, current)) {
        const auto error = calls_->LastError();
        throw WinSockException(probeFailure, error);
    }
    if (!calls_->SetOption(handle_, option, value)) {
        const auto error = calls_->LastError();
        throw WinSockException("setsockopt() failed", error);
    }
}

void Socket::SetSocketTTL(std::uint32_t ttl) {
    if (!HasHandle()) {
        throw WinSockException("Not in a valid state to set TTL support", 0);
    }
    if (family_ == AddressFamily::Ipv4) {
        SetCheckedOption(SocketOption::Ttl, ttl, "TTL option is not support");
    } else if (family_ == AddressFamily::Ipv6) {
        SetCheckedOption(SocketOption::HopLimit, ttl, "TTL option is not support");
    } else {
        throw WinSockException("Unknown address family", 0);
    }
}

void Socket::SetMaxRetryTimeout(std::uint32_t seconds) {
    if (!HasHandle()) {
        throw WinSockException("Not in a valid state to set TTL support", 0);
    }
    SetCheckedOption(SocketOption::RetryTimeoutSeconds, seconds, "RT option is not supported");
    retrySeconds_ = seconds;
}

std::uint32_t Socket::GetLocalPort() {
    std::uint16_t port = 0;
    if (!calls_->LocalPort(handle_, port)) {
        const auto error = calls_->LastError();
        throw WinSockException("getsockname() failed", error);
    }
    return port;
}

}  // namespace Shared::WinSock
