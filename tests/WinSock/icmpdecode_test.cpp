#include <gtest/gtest.h>

#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"
#include "support/fake_systemcalls.hpp"

namespace {

using Shared::WinSock::DecodeTimeExceeded;
using testing_support::QuotedProbe;
using testing_support::TimeExceededDatagram;

// Header options move the fields; the datagram may end right after the ports.
TEST(IcmpDecode, AcceptsTimeExceededQuotingTcp) {
    const struct {
        std::size_t outerOptions, innerOptions, bytesAfterPorts;
    } cases[] = {{0, 0, 4}, {8, 12, 0}};
    for (const auto& [outer, inner, after] : cases) {
        SCOPED_TRACE(testing::Message() << outer << " " << inner << " " << after);
        const auto bytes = TimeExceededDatagram({.outerOptions = outer, .innerOptions = inner});
        const auto probe = DecodeTimeExceeded(bytes, bytes.size() - 4 + after);
        ASSERT_TRUE(probe);
        EXPECT_EQ(probe->originalDestination, (std::array<std::uint8_t, 4>{198, 18, 4, 1}));
        EXPECT_EQ(probe->sourcePort, 40000);
        EXPECT_EQ(probe->destinationPort, 80);
    }
}

TEST(IcmpDecode, DropsOtherTypesProtocolsAndShortDatagrams) {
    const auto decodes = [](const QuotedProbe& shape, std::size_t received = 56) {
        return DecodeTimeExceeded(TimeExceededDatagram(shape), received).has_value();
    };
    EXPECT_FALSE(decodes({.type = 3}));   // unreachable
    EXPECT_FALSE(decodes({.type = 0}));   // echo reply
    EXPECT_FALSE(decodes({.outerProtocol = 17}));  // not ICMP at all
    EXPECT_FALSE(decodes({.protocol = 17}));  // quotes UDP
    EXPECT_FALSE(decodes({.protocol = 1}));   // quotes ICMP
    EXPECT_FALSE(decodes({}, 20 + 8 + 20 + 3));  // a port byte short, though the buffer has it
    EXPECT_FALSE(decodes({}, 20 + 8 + 19));  // quoted header cut short
    EXPECT_FALSE(decodes({}, 20 + 7));
    EXPECT_FALSE(decodes({}, 10));  // shorter than its own IHL
    EXPECT_FALSE(decodes({}, 0));
    const std::vector<std::uint8_t> tiny(30, 0x4F);
    EXPECT_FALSE(DecodeTimeExceeded(tiny, 30));
}

}  // namespace
