#pragma once
// A registry export in the standard ".reg" text form, standing in for the live registry:
//
//   Windows Registry Editor Version 5.00
//   [HKEY_LOCAL_MACHINE\SOFTWARE\Velmora\Orvia]
//   "HostResolutionWorkerCount"=dword:00000002
//   "tunnel-status"="connected"    ; a comment
//
// Read as `reg import` reads it: keys and value names compare case-insensitively, a key's
// parents exist with it, deletions ("[-key]", "name"=-) apply in order, malformed lines are
// skipped.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace Shared::System {

struct RegistryValue {
    enum class Type { String, Dword, Other };
    Type type = Type::Other;
    std::wstring text;
    std::uint32_t dword = 0;
};

class RegistryExport {
public:
    // Accepts UTF-8 (with or without BOM) or UTF-16LE with BOM; anything unreadable is empty.
    static RegistryExport Parse(std::string_view bytes);

    // `key` is relative to HKEY_LOCAL_MACHINE, e.g. "SOFTWARE\\Velmora\\Orvia".
    const RegistryValue* Find(std::wstring_view key, std::wstring_view name) const;
    bool HasKey(std::wstring_view key) const;

private:
    void ParseKeyLine(std::wstring_view line, std::wstring& currentKey);
    void ParseValueLine(std::wstring_view line, const std::wstring& currentKey);
    void DeleteKey(const std::wstring& key);

    std::map<std::wstring, std::map<std::wstring, RegistryValue>> keys_;
    bool utf16File_ = false;
};

}  // namespace Shared::System
