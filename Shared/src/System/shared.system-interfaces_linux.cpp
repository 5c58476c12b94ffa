// Addresses come from getifaddrs(); gateways from an rtnetlink dump of the routes (all
// tables, so that policy-routed tunnels count): every next hop of a default route names its
// interface, and one without a gateway is on-link.

#include "Shared/src/System/shared.system-interfaces.hpp"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Raii/shared.raii-win32handle.hpp"
#include "Shared/src/System/shared.system-interfaces-routes_linux.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::System {
namespace {

std::wstring Ipv4Text(const void* address) {
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, address, text, sizeof text);
    return Shared::Util::ConvertStringType(std::string_view(text));
}

[[noreturn]] void ThrowAdaptersError() {
    throw Shared::Exception::Win32Exception("GetAdaptersAddresses() failed",
                                            static_cast<std::uint32_t>(errno));
}

// Interface index -> default gateways, in the kernel's order.
std::map<unsigned int, std::vector<std::wstring>> DefaultGateways() {
    Shared::Raii::Win32Handle netlink(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (!netlink.IsValid()) {
        ThrowAdaptersError();
    }
    struct {
        nlmsghdr header;
        rtmsg route;
    } request{};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtmsg));
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.route.rtm_family = AF_INET;
    if (::send(netlink.Get(), &request, request.header.nlmsg_len, 0) < 0) {
        ThrowAdaptersError();
    }
    std::vector<RouteNextHop> hops;
    std::vector<std::byte> buffer(1 << 16);
    for (;;) {
        const auto received = ::recv(netlink.Get(), buffer.data(), buffer.size(), 0);
        if (received < 0) {
            ThrowAdaptersError();
        }
        const auto batch = std::span(buffer).first(static_cast<std::size_t>(received));
        if (ReadRouteMessages(batch, hops) == DumpProgress::Done) {
            return DefaultGatewaysByInterface(hops);
        }
    }
}

}  // namespace

std::vector<InterfaceDefaultGateway> GetUsableAdapters() {
    const auto gateways = DefaultGateways();
    ifaddrs* raw = nullptr;
    if (::getifaddrs(&raw) != 0) {
        ThrowAdaptersError();
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> list(raw, ::freeifaddrs);
    // getifaddrs lists one entry per address; gather them per interface in first-seen order.
    std::vector<std::pair<unsigned int, InterfaceDefaultGateway>> adapters;
    for (const auto* entry = raw; entry != nullptr; entry = entry->ifa_next) {
        const bool isUp = (entry->ifa_flags & IFF_UP) && (entry->ifa_flags & IFF_RUNNING);
        if (!isUp || entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        const auto index = ::if_nametoindex(entry->ifa_name);
        auto found = std::find_if(adapters.begin(), adapters.end(),
                                  [&](const auto& adapter) { return adapter.first == index; });
        if (found == adapters.end()) {
            adapters.push_back({index, {}});
            found = std::prev(adapters.end());
            if (const auto g = gateways.find(index); g != gateways.end()) {
                found->second.gateways = g->second;
            }
        }
        found->second.addresses.push_back(
            Ipv4Text(&reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr));
    }
    std::vector<InterfaceDefaultGateway> usable;
    for (auto& [index, adapter] : adapters) {
        if (!adapter.addresses.empty() && !adapter.gateways.empty()) {
            usable.push_back(std::move(adapter));
        }
    }
    return usable;
}

}  // namespace Shared::System
