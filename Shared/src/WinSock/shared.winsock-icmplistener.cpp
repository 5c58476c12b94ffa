#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"

#include <chrono>
#include <cstring>

#include <fmt/format.h>

#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace Shared::WinSock {
namespace {

constexpr std::size_t kBufferSize = 65535;

}  // namespace

std::int64_t SteadyNowNs() noexcept {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::string Ipv4Text(Ipv4Address address) {
    std::uint8_t bytes[4];
    std::memcpy(bytes, &address, sizeof bytes);
    return fmt::format("{}.{}.{}.{}", bytes[0], bytes[1], bytes[2], bytes[3]);
}

ICMPListener::ICMPListener(SystemCalls& calls)
    : calls_(calls), closed_(true), buffer_(kBufferSize) {}

ICMPListener::~ICMPListener() {
    Close();
    calls_.ReleaseWatch(watch_);
}

void ICMPListener::Bind(const std::wstring& address) {
    Log::GuardedLog::Info("Attempting to bind listener to {}",
                          Shared::Util::ConvertErrorString(address));
    std::lock_guard lock(mutex_);
    if (socket_ != kInvalidSocket) {
        return;
    }
    const auto local = ParseIpv4Strict(address);
    socket_ = calls_.OpenRawIcmp();
    if (!IsValidSocket(socket_)) {
        const auto error = calls_.LastError();
        socket_ = kInvalidSocket;
        throw WinSockException("socket() failed", error);
    }
    const auto fail = [&](const char* text) {
        const auto error = calls_.LastError();
        CloseLocked();
        throw WinSockException(text, error);
    };
    if (!calls_.BindToInterface(socket_, local) || !calls_.BindRaw(socket_, local)) {
        fail("bind() failed");
    }
    if (!calls_.EnableReceiveAll(socket_)) {
        fail("WSAIoctl() failed");
    }
    calls_.EnlargeReceiveBuffer(socket_);
    calls_.ReleaseWatch(watch_);
    watch_ = calls_.WatchReadable(socket_);
    if (!Shared::Raii::IsValidHandle(watch_)) {
        fail("WSAEventSelect() failed");
    }
    closed_.Reset();
}

ICMPListener::Received ICMPListener::ReceiveOne() {
    std::lock_guard lock(mutex_);
    // Received under the lock: Close() may not release the socket while it is in use.
    if (socket_ == kInvalidSocket) {
        throw WinSockException("recvfrom() failed", calls_.ClosedSocketError());
    }
    auto result = calls_.ReceiveFrom(socket_, buffer_);
    if (result.wouldBlock) {
        // A datagram that came between the receive and the clear would not wake the wait.
        calls_.ClearReadable(watch_);
        result = calls_.ReceiveFrom(socket_, buffer_);
        if (result.wouldBlock) {
            return {std::nullopt, watch_};
        }
    }
    if (result.bytes < 0) {
        throw WinSockException("recvfrom() failed", result.error);
    }
    return {detail::ToResponse(buffer_, static_cast<std::size_t>(result.bytes), result.source),
            std::nullopt};
}

ICMPTCPResponse ICMPListener::ReadNextICMPResponse() {
    for (;;) {
        // A burst is drained without a wait per datagram.
        const auto received = ReceiveOne();
        if (received.answer) {
            return *received.answer;
        }
        if (received.drainedWatch) {
            Shared::Concurrency::WaitFor({*received.drainedWatch, closed_.Handle()}, false,
                                         Shared::Concurrency::kInfinite, false);
        }
    }
}

void ICMPListener::Close() noexcept {
    std::lock_guard lock(mutex_);
    CloseLocked();
}

bool ICMPListener::IsClosed() noexcept {
    std::lock_guard lock(mutex_);
    return socket_ == kInvalidSocket;
}

void ICMPListener::CloseLocked() noexcept {
    if (socket_ == kInvalidSocket) {
        return;
    }
    try {
        closed_.Signal();
    } catch (...) {
    }
    // The watch outlives the socket: a reader may be waiting on it right now.
    calls_.Close(socket_);
    socket_ = kInvalidSocket;
}

namespace detail {

std::optional<ICMPTCPResponse> ToResponse(const std::vector<std::uint8_t>& buffer,
                                          std::size_t received, Ipv4Address source) {
    const auto receivedAt = SteadyNowNs();
    const auto probe = DecodeTimeExceeded(buffer, received);
    if (!probe) {
        return std::nullopt;
    }
    Ipv4Address destination = 0;
    std::memcpy(&destination, probe->originalDestination.data(), sizeof destination);
    return ICMPTCPResponse{destination, source, probe->sourcePort, probe->destinationPort,
                           receivedAt};
}

}  // namespace detail
}  // namespace Shared::WinSock
