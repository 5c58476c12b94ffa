// Every length in the dump is checked against the bytes that are really there, and every
// structure is copied out before use: a batch need not be aligned, and a hostile or truncated
// one must not make us read past its end.

#include "Shared/src/System/shared.system-interfaces-routes_linux.hpp"

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::System {
namespace {

using Bytes = std::span<const std::byte>;

constexpr std::wstring_view kOnLinkGateway = L"0.0.0.0";

template <typename T>
bool CopyOut(Bytes bytes, T& value) {
    if (bytes.size() < sizeof(T)) {
        return false;
    }
    std::memcpy(&value, bytes.data(), sizeof(T));
    return true;
}

Bytes After(Bytes bytes, std::size_t length) {
    return bytes.subspan(std::min(length, bytes.size()));
}

// Calls visit(type, payload) for each attribute, up to the first one that overruns the bytes.
template <typename Visit>
void ForEachAttribute(Bytes bytes, Visit visit) {
    rtattr header{};
    while (CopyOut(bytes, header) && header.rta_len >= sizeof header &&
           header.rta_len <= bytes.size()) {
        visit(header.rta_type, bytes.subspan(RTA_LENGTH(0), header.rta_len - RTA_LENGTH(0)));
        bytes = After(bytes, RTA_ALIGN(header.rta_len));
    }
}

std::optional<std::wstring> AddressText(int family, Bytes address) {
    const std::size_t expected = family == AF_INET ? 4 : family == AF_INET6 ? 16 : 0;
    if (expected == 0 || address.size() != expected) {
        return std::nullopt;
    }
    char text[INET6_ADDRSTRLEN] = {};
    ::inet_ntop(family, address.data(), text, sizeof text);
    return Shared::Util::ConvertStringType(std::string_view(text));
}

// RTA_VIA names a next hop of any family, in practice IPv6 under an IPv4 route. Its own text
// goes into the list: the log then names the real next hop, and an interface that has a
// gateway is never taken for an on-link tunnel.
std::optional<std::wstring> ViaText(Bytes payload) {
    __kernel_sa_family_t family = 0;
    if (!CopyOut(payload, family)) {
        return std::nullopt;
    }
    return AddressText(family, After(payload, sizeof family));
}

// Empty when the next hop is on-link; nothing when its gateway cannot be read, so that a
// damaged route is dropped rather than mistaken for a tunnel.
std::optional<std::wstring> GatewayOf(Bytes attributes) {
    std::optional<std::wstring> gateway = std::wstring();
    ForEachAttribute(attributes, [&](unsigned short type, Bytes payload) {
        if (type == RTA_GATEWAY) {
            gateway = AddressText(AF_INET, payload);
        } else if (type == RTA_VIA) {
            gateway = ViaText(payload);
        }
    });
    return gateway;
}

void AddHop(RouteNextHop hop, int interfaceIndex, const std::optional<std::wstring>& gateway,
            std::vector<RouteNextHop>& hops) {
    if (interfaceIndex <= 0 || !gateway) {
        return;
    }
    hop.interfaceIndex = static_cast<unsigned int>(interfaceIndex);
    hop.gateway = *gateway;
    hops.push_back(std::move(hop));
}

void ReadMultipath(Bytes bytes, const RouteNextHop& route, std::vector<RouteNextHop>& hops) {
    rtnexthop nextHop{};
    while (CopyOut(bytes, nextHop) && nextHop.rtnh_len >= sizeof nextHop &&
           nextHop.rtnh_len <= bytes.size()) {
        const auto attributes = bytes.subspan(RTNH_LENGTH(0), nextHop.rtnh_len - RTNH_LENGTH(0));
        AddHop(route, nextHop.rtnh_ifindex, GatewayOf(attributes), hops);
        bytes = After(bytes, RTNH_ALIGN(nextHop.rtnh_len));
    }
}

bool IsDefaultOrHalf(const rtmsg& route) {
    return route.rtm_family == AF_INET && route.rtm_type == RTN_UNICAST && route.rtm_dst_len <= 1;
}

void ReadRoute(Bytes payload, std::vector<RouteNextHop>& hops) {
    rtmsg route{};
    if (!CopyOut(payload, route) || !IsDefaultOrHalf(route)) {
        return;
    }
    const auto attributes = After(payload, NLMSG_ALIGN(sizeof route));
    RouteNextHop common;
    common.prefixLength = route.rtm_dst_len;
    bool hasDestination = route.rtm_dst_len == 0;
    int interfaceIndex = 0;
    std::optional<Bytes> multipath;
    ForEachAttribute(attributes, [&](unsigned short type, Bytes value) {
        if (type == RTA_OIF) {
            CopyOut(value, interfaceIndex);
        } else if (type == RTA_DST) {
            hasDestination = value.size() == common.destination.size();
            CopyOut(value, common.destination);
        } else if (type == RTA_MULTIPATH) {
            multipath = value;
        }
    });
    if (!hasDestination) {
        return;
    }
    if (multipath) {
        ReadMultipath(*multipath, common, hops);
    } else {
        AddHop(common, interfaceIndex, GatewayOf(attributes), hops);
    }
}

[[noreturn]] void ThrowKernelError(Bytes payload) {
    int error = -EPROTO;
    CopyOut(payload, error);
    // Negated as unsigned: a damaged message may carry INT_MIN, whose signed negation is
    // undefined.
    throw Shared::Exception::Win32Exception("GetAdaptersAddresses() failed",
                                            0u - static_cast<std::uint32_t>(error));
}

void AddOnce(std::vector<std::wstring>& gateways, std::wstring_view gateway) {
    if (std::find(gateways.begin(), gateways.end(), gateway) == gateways.end()) {
        gateways.emplace_back(gateway);
    }
}

}  // namespace

DumpProgress ReadRouteMessages(Bytes batch, std::vector<RouteNextHop>& hops) {
    nlmsghdr header{};
    while (CopyOut(batch, header) && header.nlmsg_len >= NLMSG_HDRLEN &&
           header.nlmsg_len <= batch.size()) {
        const auto payload = batch.subspan(NLMSG_HDRLEN, header.nlmsg_len - NLMSG_HDRLEN);
        if (header.nlmsg_type == NLMSG_DONE) {
            return DumpProgress::Done;
        }
        if (header.nlmsg_type == NLMSG_ERROR) {
            ThrowKernelError(payload);
        }
        if (header.nlmsg_type == RTM_NEWROUTE) {
            ReadRoute(payload, hops);
        }
        batch = After(batch, NLMSG_ALIGN(header.nlmsg_len));
    }
    return DumpProgress::More;
}

std::map<unsigned int, std::vector<std::wstring>> DefaultGatewaysByInterface(
    const std::vector<RouteNextHop>& hops) {
    std::map<unsigned int, std::vector<std::wstring>> gateways;
    std::map<unsigned int, std::set<bool>> onLinkHalves;  // keyed by the half's top bit
    for (const auto& hop : hops) {
        if (hop.prefixLength == 0) {
            AddOnce(gateways[hop.interfaceIndex], hop.gateway.empty() ? kOnLinkGateway
                                                                      : hop.gateway);
        } else if (hop.gateway.empty()) {
            auto& halves = onLinkHalves[hop.interfaceIndex];
            halves.insert((hop.destination[0] & 0x80) != 0);
            if (halves.size() == 2) {
                AddOnce(gateways[hop.interfaceIndex], kOnLinkGateway);
            }
        }
    }
    return gateways;
}

}  // namespace Shared::System
