#pragma once
// The default routes of an rtnetlink route dump, read from the bytes of its messages alone, so
// that crafted and hostile dumps can be checked without a kernel.

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace Shared::System {

// One next hop of an IPv4 unicast route to 0.0.0.0/0 or to one half of it (/1).
struct RouteNextHop {
    std::uint8_t prefixLength = 0;
    std::array<std::uint8_t, 4> destination{};
    unsigned int interfaceIndex = 0;
    std::wstring gateway;  // empty: on-link
};

enum class DumpProgress { More, Done };

// Appends the next hops of the default routes (and their halves) in one batch of messages;
// Done once the dump's end is in the batch. Truncated or malformed parts are skipped. Throws
// the Win32 exception "GetAdaptersAddresses() failed" when the kernel reports an error.
DumpProgress ReadRouteMessages(std::span<const std::byte> batch, std::vector<RouteNextHop>& hops);

// Interface index -> its default gateways in the dump's order, each once. An on-link default
// route, or an on-link pair 0.0.0.0/1 + 128.0.0.0/1 on one interface, gives "0.0.0.0".
std::map<unsigned int, std::vector<std::wstring>> DefaultGatewaysByInterface(
    const std::vector<RouteNextHop>& hops);

}  // namespace Shared::System
