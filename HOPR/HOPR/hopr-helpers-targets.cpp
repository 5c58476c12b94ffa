#include <algorithm>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "Shared/src/System/shared.system-hostresolver.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace HOPR {

std::vector<Shared::Json::TcpTraceTest> RemoveResolvedDuplicates(
    const std::vector<Shared::Json::TcpTraceTest>& tests, const Resolver& resolve) {
    using Log::GuardedLog;
    using Shared::Util::ConvertErrorString;
    std::vector<Shared::Json::TcpTraceTest> kept;
    std::vector<std::wstring> seenAddresses;
    for (const auto& test : tests) {
        const auto uuid = ConvertErrorString(test.testUuid);
        const auto target = ConvertErrorString(test.target);
        try {
            const auto timeoutMs = Shared::System::AgentSettings::DnsResolutionTimeoutMs();
            const auto addresses = resolve ? resolve(test.target, timeoutMs)
                                           : Shared::System::HostResolver::Resolve(test.target,
                                                                                   timeoutMs);
            if (addresses.empty()) {
                GuardedLog::Info("Found no IPs for test {} against target {}. This test will be skipped.",
                                 uuid, target);
                continue;
            }
            const auto& first = addresses.front();
            if (std::find(seenAddresses.begin(), seenAddresses.end(), first) !=
                seenAddresses.end()) {
                GuardedLog::Info("Ignoring duplicate test {}", uuid);
                continue;
            }
            kept.push_back(test);
            seenAddresses.push_back(first);
            kept.back().resolvedIp = first;
        } catch (const std::exception& e) {
            GuardedLog::Error(
                "Failed processing IP for test {} against target {}. This test will be skipped. "
                "Error: {}",
                uuid, target, e.what());
        }
    }
    return kept;
}

}  // namespace HOPR
