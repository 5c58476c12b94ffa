#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/System/shared.system-interfaces-routes_linux.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::System;
using Bytes = std::vector<std::byte>;
using Gateways = std::map<unsigned int, std::vector<std::wstring>>;

template <typename T>
Bytes Raw(const T& value) {
    Bytes bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

void Pad(Bytes& bytes) {
    bytes.resize(NLMSG_ALIGN(bytes.size()));
}

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes joined;
    for (const auto& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

Bytes Attribute(unsigned short type, const Bytes& payload) {
    const rtattr header{static_cast<unsigned short>(RTA_LENGTH(payload.size())), type};
    auto bytes = Join({Raw(header), payload});
    Pad(bytes);
    return bytes;
}

Bytes Ipv4(const char* text) {
    in_addr address{};
    ::inet_pton(AF_INET, text, &address);
    return Raw(address);
}

Bytes Oif(int index) {
    return Attribute(RTA_OIF, Raw(index));
}

Bytes Gateway(const char* text) {
    return Attribute(RTA_GATEWAY, Ipv4(text));
}

Bytes Family(int family) {
    return Raw(static_cast<__kernel_sa_family_t>(family));
}

Bytes ViaIpv6(const char* text) {
    in6_addr address{};
    ::inet_pton(AF_INET6, text, &address);
    return Attribute(RTA_VIA, Join({Family(AF_INET6), Raw(address)}));
}

Bytes NextHop(int index, const Bytes& attributes) {
    rtnexthop header{};
    header.rtnh_len = static_cast<unsigned short>(RTNH_LENGTH(attributes.size()));
    header.rtnh_ifindex = index;
    return Join({Raw(header), attributes});
}

Bytes Message(unsigned short type, const Bytes& payload) {
    nlmsghdr header{};
    header.nlmsg_len = static_cast<std::uint32_t>(NLMSG_LENGTH(payload.size()));
    header.nlmsg_type = type;
    header.nlmsg_flags = NLM_F_MULTI;
    auto bytes = Join({Raw(header), payload});
    Pad(bytes);
    return bytes;
}

struct RouteShape {
    unsigned char prefixLength = 0;
    unsigned char table = RT_TABLE_MAIN;
    unsigned char type = RTN_UNICAST;
    unsigned char family = AF_INET;
};

Bytes Route(const RouteShape& shape, const Bytes& attributes) {
    rtmsg route{};
    route.rtm_family = shape.family;
    route.rtm_dst_len = shape.prefixLength;
    route.rtm_table = shape.table;
    route.rtm_type = shape.type;
    return Message(RTM_NEWROUTE, Join({Raw(route), attributes}));
}

Bytes Done() {
    return Message(NLMSG_DONE, Raw(0));
}

// A dump with one route of every kind read here; its parts are reused by the damage tests.
Bytes EveryKindOfRoute() {
    return Join({
        Route({}, Join({Gateway("198.18.1.1"), Oif(2)})),
        Route({}, Attribute(RTA_MULTIPATH,
                            Join({NextHop(3, Gateway("198.18.2.1")), NextHop(4, ViaIpv6("fe80::1"))}))),
        Route({.prefixLength = 1}, Join({Attribute(RTA_DST, Ipv4("0.0.0.0")), Oif(5)})),
        Route({.prefixLength = 1}, Join({Attribute(RTA_DST, Ipv4("128.0.0.0")), Oif(5)})),
        Route({}, Oif(6)),
        Done(),
    });
}

TEST(RouteDump, DefaultRoutesGiveEachInterfaceItsGateways) {
    const auto half = [](const char* destination, int index, const Bytes& extra = {}) {
        return Route({.prefixLength = 1},
                     Join({Attribute(RTA_DST, Ipv4(destination)), Oif(index), extra}));
    };
    const struct {
        const char* what;
        Bytes dump;
        Gateways expected;
        DumpProgress progress = DumpProgress::Done;
    } cases[] = {
        {"plain, other routes ignored",
         Join({Route({.prefixLength = 24}, Join({Attribute(RTA_DST, Ipv4("198.18.1.0")), Oif(9)})),
               Route({.type = RTN_BROADCAST}, Oif(9)), Route({.family = AF_INET6}, Oif(9)),
               Route({}, Join({Oif(2), Gateway("198.18.1.1")})),
               Route({}, Join({Gateway("198.18.1.254"), Oif(2)})), Done()}),
         {{2, {L"198.18.1.1", L"198.18.1.254"}}}},
        {"on-link default and the on-link halves pair",
         Join({Route({}, Oif(3)),
               half("0.0.0.0", 3), half("128.0.0.0", 3),   // both forms on one interface: once
               half("128.0.0.0", 4), half("0.0.0.0", 4),   // the pair alone, in either order
               half("0.0.0.0", 5), half("0.0.0.0", 5),     // one half twice is not the pair
               half("0.0.0.0", 6), half("128.0.0.0", 7),   // halves on two interfaces neither
               half("0.0.0.0", 8, Gateway("198.18.8.1")),  // through a gateway: not on-link
               half("128.0.0.0", 8, Gateway("198.18.8.1")), Done()}),
         {{3, {L"0.0.0.0"}}, {4, {L"0.0.0.0"}}}},
        {"multipath",
         Join({Route({}, Attribute(RTA_MULTIPATH, Join({NextHop(2, Gateway("198.18.1.1")),
                                                        NextHop(3, Gateway("198.18.2.1")),
                                                        NextHop(2, Gateway("198.18.1.2"))}))),
               Done()}),
         {{2, {L"198.18.1.1", L"198.18.1.2"}}, {3, {L"198.18.2.1"}}}},
        {"via an IPv6 next hop is a gateway",
         Join({Route({}, Join({ViaIpv6("fe80::1"), Oif(2)})),
               Route({}, Attribute(RTA_MULTIPATH, NextHop(3, ViaIpv6("2001:db8::1")))),
               Route({}, Join({Attribute(RTA_VIA, Join({Family(AF_INET), Ipv4("198.18.4.1")})),
                               Oif(4)})),
               Done()}),
         {{2, {L"fe80::1"}}, {3, {L"2001:db8::1"}}, {4, {L"198.18.4.1"}}}},
        {"every table, each gateway once; no end of dump yet",
         Join({Route({}, Join({Gateway("198.18.1.1"), Oif(2)})),
               Route({.table = 100}, Join({Gateway("198.18.1.1"), Oif(2)})),
               Route({.table = RT_TABLE_COMPAT},
                     Join({Attribute(RTA_TABLE, Raw(1000u)), Gateway("198.18.9.1"), Oif(2)})),
               Route({.table = 200}, Oif(3))}),
         {{2, {L"198.18.1.1", L"198.18.9.1"}}, {3, {L"0.0.0.0"}}},
         DumpProgress::More},
        {"damaged attributes drop the route instead of making it on-link",
         Join({Route({}, Join({Attribute(RTA_GATEWAY, Bytes(2)), Oif(2)})),
               Route({}, Join({Attribute(RTA_VIA, Family(AF_INET6)), Oif(3)})),
               Route({}, Join({Attribute(RTA_VIA, Join({Family(AF_PACKET), Bytes(6)})), Oif(4)})),
               Route({}, Attribute(RTA_OIF, Bytes(2))),
               Route({.prefixLength = 1}, Join({Attribute(RTA_DST, Bytes(3)), Oif(5)})),
               Route({.prefixLength = 1}, Oif(5)),
               Route({.prefixLength = 1}, Join({Attribute(RTA_DST, Ipv4("128.0.0.0")), Oif(5)})),
               Done()}),
         {}},
    };
    for (const auto& [what, dump, expected, progress] : cases) {
        std::vector<RouteNextHop> hops;
        EXPECT_EQ(ReadRouteMessages(dump, hops), progress) << what;
        EXPECT_EQ(DefaultGatewaysByInterface(hops), expected) << what;
    }
}

TEST(RouteDump, KernelErrorThrowsWithItsCode) {
    const auto failure = [](int code) {
        std::vector<RouteNextHop> hops;
        return Thrown<Shared::Exception::Win32Exception>(
            [&] { ReadRouteMessages(Message(NLMSG_ERROR, Raw(code)), hops); });
    };
    const auto denied = failure(-EPERM);
    EXPECT_EQ(denied.Code(), static_cast<std::uint32_t>(EPERM));
    EXPECT_THAT(denied.what(), testing::HasSubstr("GetAdaptersAddresses() failed"));
    // A damaged message's most negative code still gives a code, not undefined behaviour.
    EXPECT_EQ(failure(std::numeric_limits<int>::min()).Code(), 0x80000000u);
}

// Every prefix of a dump, and every length field pointing past the end, copied into a buffer
// of exactly that size: nothing may be read beyond it (the sanitizer build sees any over-read),
// and whatever is found must be a route the whole dump really has.
TEST(RouteDump, TruncatedOrOverlongLengthsNeverReadPastTheBatch) {
    const auto whole = EveryKindOfRoute();
    std::vector<RouteNextHop> all;
    ASSERT_EQ(ReadRouteMessages(whole, all), DumpProgress::Done);
    ASSERT_EQ(DefaultGatewaysByInterface(all),
              (Gateways{{2, {L"198.18.1.1"}}, {3, {L"198.18.2.1"}}, {4, {L"fe80::1"}},
                        {5, {L"0.0.0.0"}}, {6, {L"0.0.0.0"}}}));
    const auto isKnown = [&](const RouteNextHop& hop) {
        return std::any_of(all.begin(), all.end(), [&](const RouteNextHop& known) {
            return known.interfaceIndex == hop.interfaceIndex && known.gateway == hop.gateway &&
                   known.destination == hop.destination;
        });
    };
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        std::vector<RouteNextHop> hops;
        EXPECT_EQ(ReadRouteMessages(prefix, hops), DumpProgress::More) << size;
        EXPECT_TRUE(std::all_of(hops.begin(), hops.end(), isKnown)) << size;
    }
    // Each 16-bit word set to all ones, lengths among them: damage may lose routes, never
    // invent one.
    for (std::size_t at = 0; at + 2 <= whole.size(); at += 2) {
        auto damaged = whole;
        damaged[at] = damaged[at + 1] = std::byte{0xFF};
        std::vector<RouteNextHop> hops;
        ReadRouteMessages(damaged, hops);
        EXPECT_LE(hops.size(), all.size()) << at;
    }
}

}  // namespace
