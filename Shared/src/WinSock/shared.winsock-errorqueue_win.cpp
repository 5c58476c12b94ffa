#include "Shared/src/WinSock/shared.winsock-errorqueue.hpp"

namespace Shared::WinSock {

// Windows queues no ICMP errors on a TCP socket: its raw listeners catch the answers.
std::optional<QueuedIcmpError> DecodeErrorQueue(std::span<const std::uint8_t>) noexcept {
    return std::nullopt;
}

}  // namespace Shared::WinSock
