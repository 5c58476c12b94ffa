#include "Shared/src/System/shared.system-agentsettings.hpp"

#include <algorithm>

#include "Shared/src/System/shared.system-registry.hpp"

namespace Shared::System::AgentSettings {

const std::wstring& VpnClientKey() {
    static const std::wstring key = RegistryKeyExists(kAccessAgentKey) ? kAccessAgentKey
                                                                        : kKestrandKey;
    return key;
}

std::wstring VpnStatusKey() {
    return VpnClientKey() + L"\\Orvia";
}

std::uint32_t HostResolutionWorkerCount() {
    // A run names a few dozen routers at most, so more workers only cost threads; and a value
    // such as dword:ffffffff would size the run's queues before its input is even read.
    constexpr std::uint32_t kMostWorkers = 64;
    return std::min(ReadRegistryDword(kAgentKey, L"HostResolutionWorkerCount").value_or(3),
                    kMostWorkers);
}

bool IsHostResolutionEnabled() {
    return ReadRegistryDword(kAgentKey, L"IsHostResolutionEnabled").value_or(1) != 0;
}

std::uint32_t ConnectionTimeoutOverride() {
    const auto stored = ReadRegistryDword(kAgentConfigKey, L"TcpTraceOverrideConnectionTimeout");
    return stored && *stored > 1 ? *stored : 1;
}

std::uint32_t DnsResolutionTimeoutMs() {
    return ReadRegistryDword(kAgentKey, L"dns-resolution-timeout").value_or(15000);
}

}  // namespace Shared::System::AgentSettings
