#include "Shared/src/WinSock/shared.winsock-errorqueue.hpp"

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace Shared::WinSock {
namespace {

std::int64_t NowNs(auto clock) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(clock.time_since_epoch()).count();
}

// The kernel files a connecting socket where errors find it before it draws its initial
// sequence number, and checks an error that comes in between against 0: one that quotes 0 may
// be forged. A probe's own number is 0 once in 2^32 connects.
bool QuotesADrawnSequence(std::span<const std::uint8_t> quoted) {
    return quoted.size() >= 8 && std::any_of(quoted.begin() + 4, quoted.begin() + 8,
                                             [](std::uint8_t byte) { return byte != 0; });
}

std::optional<QueuedIcmpError> ReadProbesOwnError(SystemCalls& calls, SocketHandle socket,
                                                  std::span<std::uint8_t> control) {
    for (;;) {
        std::uint8_t quoted[8];  // ports, then the sequence number
        const auto read = calls.ReadErrorQueue(socket, control, quoted);
        if (!read.found) {
            return std::nullopt;
        }
        if (QuotesADrawnSequence(std::span(quoted, std::min(read.quotedBytes, sizeof quoted)))) {
            return DecodeErrorQueue(control.first(std::min(read.controlBytes, control.size())));
        }
    }
}

}  // namespace

std::optional<ProbeIcmpAnswer> ReadQueuedIcmpError(SystemCalls& calls, SocketHandle socket) {
    alignas(std::max_align_t) std::uint8_t control[256];
    const auto error = ReadProbesOwnError(calls, socket, control);
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
