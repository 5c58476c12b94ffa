// One batch of an rtnetlink route dump, as recv() hands it over: the parser skips what it
// cannot read and never reports a next hop it did not read whole.

#include <arpa/inet.h>

#include <algorithm>
#include <set>
#include <span>
#include <vector>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/System/shared.system-interfaces-routes_linux.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Shared::System;
    std::vector<RouteNextHop> hops;
    try {
        ReadRouteMessages(std::as_bytes(std::span(data, size)), hops);
    } catch (const Shared::Exception::Win32Exception&) {
        // The kernel's error message: hops read before it are still checked.
    }
    // A default next hop's gateway is on-link (empty) or the text of an IPv4 or IPv6 address.
    const auto isDefault = [](const RouteNextHop& hop) {
        const auto text = Shared::Util::ConvertStringType(hop.gateway);
        unsigned char address[16];
        return hop.interfaceIndex > 0 && hop.prefixLength <= 1 &&
               (text.empty() || ::inet_pton(AF_INET, text.c_str(), address) == 1 ||
                ::inet_pton(AF_INET6, text.c_str(), address) == 1);
    };
    if (!std::all_of(hops.begin(), hops.end(), isDefault)) {
        __builtin_trap();
    }
    for (const auto& [index, gateways] : DefaultGatewaysByInterface(hops)) {
        if (index == 0 || gateways.empty() ||
            std::set(gateways.begin(), gateways.end()).size() != gateways.size()) {
            __builtin_trap();
        }
    }
    return 0;
}
