#pragma once
// The agent's tunables, each with its default when the value cannot be read.

#include <cstdint>
#include <string>

namespace Shared::System::AgentSettings {

inline const std::wstring kMakerKey = L"SOFTWARE\\Velmora";
inline const std::wstring kAgentKey = kMakerKey + L"\\Orvia";
inline const std::wstring kAgentConfigKey = kAgentKey + L"\\Config";
inline const std::wstring kAccessAgentKey = kMakerKey + L"\\Quillon Agent";
inline const std::wstring kKestrandKey = kMakerKey + L"\\Kestrand";

// The access-agent key when it exists, else the Kestrand key; chosen once per process.
const std::wstring& VpnClientKey();
std::wstring VpnStatusKey();

std::uint32_t HostResolutionWorkerCount();   // 3 when absent, 64 at most
bool IsHostResolutionEnabled();              // enabled when absent
std::uint32_t ConnectionTimeoutOverride();   // the stored value when above 1, else 1
std::uint32_t DnsResolutionTimeoutMs();      // 15000 when absent

}  // namespace Shared::System::AgentSettings
