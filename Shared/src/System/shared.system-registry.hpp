#pragma once
// Read-only access to the agent's machine-wide settings (under HKEY_LOCAL_MACHINE).
// Every failure, including a value of another type, reads as absent.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Shared::System {

std::optional<std::uint32_t> ReadRegistryDword(std::wstring_view key, std::wstring_view name);
std::optional<std::wstring> ReadRegistryString(std::wstring_view key, std::wstring_view name);
bool RegistryKeyExists(std::wstring_view key);

}  // namespace Shared::System
