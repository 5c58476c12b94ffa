#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <linux/rtnetlink.h>

#include <climits>
#include <map>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/System/shared.system-interfaces-routes_linux.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::System;
using Bytes = std::vector<std::byte>;

template <typename T>
Bytes Raw(const T& value) {
    const auto* bytes = reinterpret_cast<const std::byte*>(&value);
    return Bytes(bytes, bytes + sizeof value);
}

// The parts end to end; `align`: padded as netlink pads a message or attribute.
Bytes Join(std::initializer_list<Bytes> parts, bool align = false) {
    Bytes joined;
    for (const auto& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    joined.resize(align ? NLMSG_ALIGN(joined.size()) : joined.size());
    return joined;
}

Bytes Attribute(unsigned short type, const Bytes& payload) {
    return Join({Raw(rtattr{static_cast<unsigned short>(RTA_LENGTH(payload.size())), type}),
                 payload}, true);
}

template <int Family, typename Address>
Bytes Ip(const char* text) {
    Address address{};
    ::inet_pton(Family, text, &address);
    return Raw(address);
}
const auto Ipv4 = Ip<AF_INET, in_addr>;
Bytes Oif(int index) { return Attribute(RTA_OIF, Raw(index)); }
Bytes Gateway(const char* text) { return Attribute(RTA_GATEWAY, Ipv4(text)); }
Bytes Via(int family, const Bytes& address) {
    return Attribute(RTA_VIA, Join({Raw(static_cast<__kernel_sa_family_t>(family)), address}));
}
const auto Ipv6 = Ip<AF_INET6, in6_addr>;
Bytes NextHop(int index, const Bytes& attributes) {
    const auto length = static_cast<unsigned short>(RTNH_LENGTH(attributes.size()));
    return Join({Raw(rtnexthop{length, 0, 0, index}), attributes});
}
Bytes Message(unsigned short type, const Bytes& payload) {
    const auto length = static_cast<std::uint32_t>(NLMSG_LENGTH(payload.size()));
    return Join({Raw(nlmsghdr{length, type, NLM_F_MULTI, 0, 0}), payload}, true);
}

struct RouteShape {
    unsigned char prefixLength = 0, table = RT_TABLE_MAIN, type = RTN_UNICAST, family = AF_INET;
};
Bytes Route(const RouteShape& shape, const Bytes& attributes) {
    const rtmsg route{shape.family, shape.prefixLength, 0, 0, shape.table, 0, 0, shape.type, 0};
    return Message(RTM_NEWROUTE, Join({Raw(route), attributes}));
}
const Bytes kDone = Message(NLMSG_DONE, Raw(0));

TEST(RouteDump, DefaultRoutesGiveEachInterfaceItsGateways) {
    const auto half = [](const char* destination, int index, const Bytes& extra = {}) {
        return Route({.prefixLength = 1},
                     Join({Attribute(RTA_DST, Ipv4(destination)), Oif(index), extra}));
    };
    const struct {
        const char* what;
        Bytes dump;
        std::map<unsigned int, std::vector<std::wstring>> expected;
        DumpProgress progress = DumpProgress::Done;
    } cases[] = {
        {"plain, other routes ignored",
         Join({Route({.prefixLength = 24}, Join({Attribute(RTA_DST, Ipv4("198.18.1.0")), Oif(9)})),
               Route({.type = RTN_BROADCAST}, Oif(9)), Route({.family = AF_INET6}, Oif(9)),
               Route({}, Join({Oif(2), Gateway("198.18.1.1")})),
               Route({}, Join({Gateway("198.18.1.254"), Oif(2)})), kDone}),
         {{2, {L"198.18.1.1", L"198.18.1.254"}}}},
        {"on-link default and the on-link halves pair",
         Join({Route({}, Oif(3)),
               half("0.0.0.0", 3), half("128.0.0.0", 3),   // both forms on one interface: once
               half("128.0.0.0", 4), half("0.0.0.0", 4),   // the pair alone, in either order
               half("0.0.0.0", 5), half("0.0.0.0", 5),     // one half twice is not the pair
               half("0.0.0.0", 6), half("128.0.0.0", 7),   // halves on two interfaces neither
               half("0.0.0.0", 8, Gateway("198.18.8.1")),  // through a gateway: not on-link
               half("128.0.0.0", 8, Gateway("198.18.8.1")), kDone}),
         {{3, {L"0.0.0.0"}}, {4, {L"0.0.0.0"}}}},
        {"via an IPv6 next hop is a gateway",
         Join({Route({}, Join({Via(AF_INET6, Ipv6("fe80::1")), Oif(2)})),
               Route({}, Attribute(RTA_MULTIPATH, NextHop(3, Via(AF_INET6, Ipv6("2001:db8::1"))))),
               Route({}, Join({Via(AF_INET, Ipv4("198.18.4.1")), Oif(4)})), kDone}),
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
               Route({}, Join({Via(AF_INET6, {}), Oif(3)})),
               Route({}, Join({Via(AF_PACKET, Bytes(6)), Oif(4)})),
               Route({}, Attribute(RTA_OIF, Bytes(2))),
               Route({.prefixLength = 1}, Join({Attribute(RTA_DST, Bytes(3)), Oif(5)})),
               Route({.prefixLength = 1}, Oif(5)),
               Route({.prefixLength = 1}, Join({Attribute(RTA_DST, Ipv4("128.0.0.0")), Oif(5)})),
               kDone}),
         {}},
    };
    for (const auto& [what, dump, expected, progress] : cases) {
        std::vector<RouteNextHop> hops;
        EXPECT_EQ(ReadRouteMessages(dump, hops), progress) << what;
        EXPECT_EQ(DefaultGatewaysByInterface(hops), expected) << what;
        // A batch cut anywhere, in a buffer of just that size for the sanitizers to watch.
        for (std::size_t size = 0; size < dump.size(); ++size) {
            const Bytes cut(dump.begin(), dump.begin() + static_cast<std::ptrdiff_t>(size));
            std::vector<RouteNextHop> found;
            EXPECT_EQ(ReadRouteMessages(cut, found), DumpProgress::More) << what << " " << size;
        }
        if (expected.empty()) {
            continue;  // its routes are damaged already: more damage may make them readable
        }
        // Each 16-bit word, lengths among them, set to all ones: routes may be lost, never made.
        for (std::size_t at = 0; at + 2 <= dump.size(); at += 2) {
            auto damaged = dump;
            damaged[at] = damaged[at + 1] = std::byte{0xFF};
            std::vector<RouteNextHop> found;
            ReadRouteMessages(damaged, found);
            EXPECT_LE(found.size(), hops.size()) << what << " " << at;
        }
    }
}

// A damaged message's most negative code still gives a code, not undefined behaviour.
TEST(RouteDump, KernelErrorThrowsWithItsCode) {
    std::vector<RouteNextHop> hops;
    for (const auto& [code, expected] : {std::pair{-EPERM, EPERM}, {INT_MIN, INT_MIN}}) {
        const auto error = Thrown<Shared::Exception::Win32Exception>(
            [&] { ReadRouteMessages(Message(NLMSG_ERROR, Raw(code)), hops); });
        EXPECT_EQ(error.Code(), static_cast<std::uint32_t>(expected));
        EXPECT_THAT(error.what(), testing::HasSubstr("GetAdaptersAddresses() failed"));
    }
}

}  // namespace
