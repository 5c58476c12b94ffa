#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"

namespace Shared::WinSock {
namespace {

constexpr std::uint8_t kTimeExceeded = 11;
constexpr std::uint8_t kProtocolTcp = 6;
constexpr std::size_t kIcmpHeaderLength = 8;
constexpr std::size_t kMinimumIpHeaderLength = 20;

std::size_t HeaderLength(std::uint8_t versionAndIhl) {
    return static_cast<std::size_t>(versionAndIhl & 0x0F) * 4;
}

std::uint16_t ReadBigEndian16(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return static_cast<std::uint16_t>((bytes[offset] << 8) | bytes[offset + 1]);
}

}  // namespace

std::optional<QuotedTcpProbe> DecodeTimeExceeded(std::span<const std::uint8_t> buffer,
                                                 std::size_t received) noexcept {
    if (received == 0 || received > buffer.size()) {
        return std::nullopt;
    }
    const auto icmp = HeaderLength(buffer[0]);
    if (received < icmp || received - icmp < kIcmpHeaderLength) {
        return std::nullopt;
    }
    const auto remaining = received - icmp;
    if (buffer[icmp] != kTimeExceeded || remaining - kIcmpHeaderLength < kMinimumIpHeaderLength) {
        return std::nullopt;
    }
    const auto inner = icmp + kIcmpHeaderLength;
    if (buffer[inner + 9] != kProtocolTcp) {
        return std::nullopt;
    }
    const auto tcp = inner + HeaderLength(buffer[inner]);
    if (tcp + 4 > buffer.size()) {
        return std::nullopt;
    }
    QuotedTcpProbe probe{};
    for (std::size_t i = 0; i < 4; ++i) {
        probe.originalDestination[i] = buffer[inner + 16 + i];
    }
    probe.sourcePort = ReadBigEndian16(buffer, tcp);
    probe.destinationPort = ReadBigEndian16(buffer, tcp + 2);
    return probe;
}

}  // namespace Shared::WinSock
