#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"

namespace Shared::WinSock {
namespace {

constexpr std::uint8_t kTimeExceeded = 11;
constexpr std::uint8_t kProtocolIcmp = 1;
constexpr std::uint8_t kProtocolTcp = 6;
constexpr std::size_t kProtocolOffset = 9;
constexpr std::size_t kIcmpHeaderLength = 8;
constexpr std::size_t kMinimumIpHeaderLength = 20;

std::size_t HeaderLength(std::uint8_t versionAndIhl) {
    return static_cast<std::size_t>(versionAndIhl & 0x0F) * 4;
}

std::uint16_t ReadBigEndian16(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return static_cast<std::uint16_t>((bytes[offset] << 8) | bytes[offset + 1]);
}

// The length of the IPv4 header at `offset`; 0 unless the datagram holds all of it.
std::size_t WholeIpHeader(std::span<const std::uint8_t> datagram, std::size_t offset) {
    if (datagram.size() - offset < kMinimumIpHeaderLength) {
        return 0;
    }
    const auto length = HeaderLength(datagram[offset]);
    return length >= kMinimumIpHeaderLength && datagram.size() - offset >= length ? length : 0;
}

}  // namespace

std::optional<QuotedTcpProbe> DecodeTimeExceeded(std::span<const std::uint8_t> buffer,
                                                 std::size_t received) noexcept {
    if (received > buffer.size()) {
        return std::nullopt;
    }
    const auto datagram = buffer.first(received);
    const auto icmp = WholeIpHeader(datagram, 0);
    if (icmp == 0 || datagram[kProtocolOffset] != kProtocolIcmp ||
        received - icmp < kIcmpHeaderLength || datagram[icmp] != kTimeExceeded) {
        return std::nullopt;
    }
    const auto inner = icmp + kIcmpHeaderLength;
    const auto innerLength = WholeIpHeader(datagram, inner);
    if (innerLength == 0 || datagram[inner + kProtocolOffset] != kProtocolTcp) {
        return std::nullopt;
    }
    const auto tcp = inner + innerLength;
    if (received - tcp < 4) {
        return std::nullopt;
    }
    QuotedTcpProbe probe{};
    for (std::size_t i = 0; i < 4; ++i) {
        probe.originalDestination[i] = datagram[inner + 16 + i];
    }
    probe.sourcePort = ReadBigEndian16(datagram, tcp);
    probe.destinationPort = ReadBigEndian16(datagram, tcp + 2);
    return probe;
}

}  // namespace Shared::WinSock
