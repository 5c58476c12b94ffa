#include "Shared/src/WinSock/shared.winsock-errorqueue.hpp"

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace Shared::WinSock {
namespace {

std::int64_t NowNs(auto clock) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(clock.time_since_epoch()).count();
}

}  // namespace

std::optional<ProbeIcmpAnswer> ReadQueuedIcmpError(SystemCalls& calls, SocketHandle socket) {
    alignas(std::max_align_t) std::uint8_t control[256];
    const auto read = calls.ReadErrorQueue(socket, control);
    if (!read.found) {
        return std::nullopt;
    }
    const auto error = DecodeErrorQueue(std::span(control, std::min(read.controlBytes, sizeof control)));
    if (!error) {
        return std::nullopt;
    }
    // The kernel stamps with the wall clock; probes are timed on the steady clock.
    const auto steadyNow = NowNs(std::chrono::steady_clock::now());
    const auto wallNow = NowNs(std::chrono::system_clock::now());
    const auto age = error->receivedWallNs ? std::max<std::int64_t>(0, wallNow - *error->receivedWallNs) : 0;
    return ProbeIcmpAnswer{error->type, error->offender, steadyNow - age};
}

}  // namespace Shared::WinSock
