#pragma once
// The local adapters that are up, with their IPv4 addresses and default gateways. A tunnel
// adapter's on-link default route shows as the gateway "0.0.0.0".

#include <string>
#include <vector>

namespace Shared::System {

struct InterfaceDefaultGateway {
    std::vector<std::wstring> addresses;
    std::vector<std::wstring> gateways;
};

// Only adapters with at least one address and one gateway, in the system's order.
std::vector<InterfaceDefaultGateway> GetUsableAdapters();

}  // namespace Shared::System
