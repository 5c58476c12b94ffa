#include "Shared/src/KR/shared.kr-functions.hpp"

#include <array>
#include <utility>

#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "Shared/src/System/shared.system-registry.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::KR {

VpnConnectionStatus GetVpnConnectionStatus(std::wstring* rawText) {
    using Log::GuardedLog;
    static const std::array<std::pair<std::wstring_view, VpnConnectionStatus>, 6> kTexts = {{
        {L"connected", VpnConnectionStatus::Connected},
        {L"disconnected", VpnConnectionStatus::Disconnected},
        {L"disabled", VpnConnectionStatus::Disabled},
        {L"connected-non-vm", VpnConnectionStatus::ConnectedNonVm},
        {L"connected-internal", VpnConnectionStatus::ConnectedInternal},
        {L"internal", VpnConnectionStatus::Internal},
    }};
    std::wstring text;
    try {
        const auto stored = Shared::System::ReadRegistryString(
            Shared::System::AgentSettings::VpnStatusKey(), L"tunnel-status");
        if (stored) {
            text = *stored;
        } else {
            GuardedLog::Info("Couldn't read the tunnel-status value; will assume it's disconnected...");
            text = L"disconnected";
        }
        if (rawText != nullptr) {
            *rawText = text;
        }
        for (const auto& [word, status] : kTexts) {
            if (text == word) {
                return status;
            }
        }
        GuardedLog::Info("Couldn't map value {} to a known VPN status; will default to Disconnected",
                         Shared::Util::ConvertErrorString(text));
    } catch (const std::exception&) {
    }
    return VpnConnectionStatus::Disconnected;
}

}  // namespace Shared::KR
