#include "Shared/src/System/shared.system-registry.hpp"

#include <algorithm>

#include "Shared/src/Util/shared.util-windows.hpp"

namespace Shared::System {

std::optional<std::uint32_t> ReadRegistryDword(std::wstring_view key, std::wstring_view name) {
    const std::wstring keyPath(key);
    const std::wstring valueName(name);
    DWORD value = 0;
    DWORD size = sizeof value;
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, keyPath.c_str(), valueName.c_str(), RRF_RT_REG_DWORD,
                       nullptr, &value, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::wstring> ReadRegistryString(std::wstring_view key, std::wstring_view name) {
    const std::wstring keyPath(key);
    const std::wstring valueName(name);
    DWORD size = 0;
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, keyPath.c_str(), valueName.c_str(), RRF_RT_REG_SZ,
                       nullptr, nullptr, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    std::wstring value(size / sizeof(wchar_t) + 1, L'\0');
    size = static_cast<DWORD>(value.size() * sizeof(wchar_t));
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, keyPath.c_str(), valueName.c_str(), RRF_RT_REG_SZ,
                       nullptr, value.data(), &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    // The text ends at the first zero: a value may store more after an embedded one.
    value.resize(std::min<std::size_t>(size / sizeof(wchar_t), value.find(L'\0')));
    return value;
}

bool RegistryKeyExists(std::wstring_view key) {
    const std::wstring keyPath(key);
    HKEY opened = nullptr;
    if (::RegOpenKeyW(HKEY_LOCAL_MACHINE, keyPath.c_str(), &opened) != ERROR_SUCCESS) {
        return false;
    }
    ::RegCloseKey(opened);
    return true;
}

}  // namespace Shared::System
