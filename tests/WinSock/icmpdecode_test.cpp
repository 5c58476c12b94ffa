#include <gtest/gtest.h>

#include <vector>

#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"

namespace {

using Shared::WinSock::DecodeTimeExceeded;

// An IPv4 datagram carrying ICMP type/code that quotes a probe to 198.18.4.1 from port 33000
// to port 443, with optional IP options on either header.
std::vector<std::uint8_t> Datagram(std::uint8_t type = 11, std::uint8_t protocol = 6,
                                   std::size_t outerOptions = 0, std::size_t innerOptions = 0) {
    std::vector<std::uint8_t> bytes(65535, 0);
    bytes[0] = static_cast<std::uint8_t>(0x40 | (5 + outerOptions / 4));
    const auto icmp = 20 + outerOptions;
    bytes[icmp] = type;
    const auto inner = icmp + 8;
    bytes[inner] = static_cast<std::uint8_t>(0x40 | (5 + innerOptions / 4));
    bytes[inner + 9] = protocol;
    bytes[inner + 16] = 198, bytes[inner + 17] = 18, bytes[inner + 18] = 4, bytes[inner + 19] = 1;
    const auto tcp = inner + 20 + innerOptions;
    bytes[tcp] = 0x80, bytes[tcp + 1] = 0xE8;  // 33000
    bytes[tcp + 2] = 0x01, bytes[tcp + 3] = 0xBB;  // 443
    return bytes;
}

std::size_t FullLength(std::size_t outerOptions = 0, std::size_t innerOptions = 0) {
    return 20 + outerOptions + 8 + 20 + innerOptions + 8;
}

// Header options move the fields; ports past the received length come from the buffer.
TEST(IcmpDecode, AcceptsTimeExceededQuotingTcp) {
    const struct {
        std::size_t outerOptions, innerOptions, length;
    } cases[] = {{0, 0, FullLength()}, {8, 12, FullLength(8, 12)}, {0, 0, 20 + 8 + 20}};
    for (const auto& [outer, inner, length] : cases) {
        SCOPED_TRACE(testing::Message() << outer << " " << inner << " " << length);
        const auto bytes = Datagram(11, 6, outer, inner);
        const auto probe = DecodeTimeExceeded(bytes, length);
        ASSERT_TRUE(probe);
        EXPECT_EQ(probe->originalDestination, (std::array<std::uint8_t, 4>{198, 18, 4, 1}));
        EXPECT_EQ(probe->sourcePort, 33000);
        EXPECT_EQ(probe->destinationPort, 443);
    }
}

TEST(IcmpDecode, DropsOtherTypesProtocolsAndShortDatagrams) {
    EXPECT_FALSE(DecodeTimeExceeded(Datagram(3), FullLength()));   // unreachable
    EXPECT_FALSE(DecodeTimeExceeded(Datagram(0), FullLength()));   // echo reply
    EXPECT_FALSE(DecodeTimeExceeded(Datagram(11, 17), FullLength()));  // quotes UDP
    EXPECT_FALSE(DecodeTimeExceeded(Datagram(11, 1), FullLength()));   // quotes ICMP
    EXPECT_FALSE(DecodeTimeExceeded(Datagram(), 20 + 8 + 19));  // quoted header cut short
    EXPECT_FALSE(DecodeTimeExceeded(Datagram(), 20 + 7));
    EXPECT_FALSE(DecodeTimeExceeded(Datagram(), 10));  // shorter than its own IHL
    EXPECT_FALSE(DecodeTimeExceeded(Datagram(), 0));
    const std::vector<std::uint8_t> tiny(30, 0x4F);
    EXPECT_FALSE(DecodeTimeExceeded(tiny, 30));
}

}  // namespace
