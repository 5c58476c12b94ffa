#pragma once
// The VPN client's tunnel state, as it stores it in the registry.

#include <cstdint>
#include <string>

namespace Shared::KR {

enum class VpnConnectionStatus : std::uint32_t {
    Disconnected = 0,
    Connected = 1,
    Disabled = 2,
    ConnectedNonVm = 3,
    ConnectedInternal = 4,
    Internal = 5,
};

// Never throws: an unreadable or unknown "tunnel-status" reads as Disconnected. When
// `rawText` is given it receives the text read ("disconnected" when nothing could be read).
VpnConnectionStatus GetVpnConnectionStatus(std::wstring* rawText = nullptr);

}  // namespace Shared::KR
