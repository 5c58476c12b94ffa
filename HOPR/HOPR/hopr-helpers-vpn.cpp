#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/KR/shared.kr-functions.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace HOPR {

bool ShouldRun(const Shared::Json::TcpTraceTest& test) {
    using Log::GuardedLog;
    using Status = Shared::KR::VpnConnectionStatus;
    std::wstring rawStatus;
    const auto status = Shared::KR::GetVpnConnectionStatus(&rawStatus);
    const auto uuid = Shared::Util::ConvertErrorString(test.testUuid);
    const auto raw = Shared::Util::ConvertErrorString(rawStatus);
    const auto allowedOr = [&](bool allowed) {
        if (!allowed) {
            GuardedLog::Info(
                "HOPR test {} is not being run because it's not configured to run in {} VPN state.",
                uuid, raw);
        }
        return allowed;
    };
    switch (status) {
        case Status::Disconnected:
        case Status::Disabled:
            return allowedOr(test.muRunTestsFromUntrustedNetworksWithVPNDisabled);
        case Status::Connected:
            return true;
        case Status::ConnectedNonVm:
            GuardedLog::Info("HOPR test {} is not being run because the VPN is in {} state.", uuid,
                             raw);
            return false;
        case Status::ConnectedInternal:
        case Status::Internal:
            return allowedOr(test.muRunTestsFromTrustedNetworks);
    }
    GuardedLog::Info("Unknown tunnelStatus value {} ({})", static_cast<std::uint32_t>(status), raw);
    return false;
}

}  // namespace HOPR
