#include "Shared/src/System/shared.system-regfile.hpp"

#include <algorithm>
#include <cwctype>
#include <optional>
#include <vector>

#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::System {
namespace {

std::wstring Lower(std::wstring_view text) {
    std::wstring lower(text);
    for (auto& c : lower) {
        c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    }
    return lower;
}

std::wstring_view Trim(std::wstring_view text) {
    while (!text.empty() && std::iswspace(static_cast<wint_t>(text.front()))) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::iswspace(static_cast<wint_t>(text.back()))) {
        text.remove_suffix(1);
    }
    return text;
}

bool IsUtf16(std::string_view bytes) {
    return bytes.starts_with("\xFF\xFE");
}

std::wstring DecodeText(std::string_view bytes) {
    if (IsUtf16(bytes)) {
        std::wstring wide;
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
            wide += static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) |
                                         (static_cast<unsigned char>(bytes[i + 1]) << 8));
        }
        return wide;
    }
    if (bytes.starts_with("\xEF\xBB\xBF")) {
        bytes.remove_prefix(3);
    }
    return Shared::Util::ConvertStringType(bytes);
}

// Reads a quoted string starting at text[0] == '"', unescaping as `reg import` does; advances
// `text` past the closing quote.
std::optional<std::wstring> ReadQuoted(std::wstring_view& text) {
    if (text.empty() || text.front() != L'"') {
        return std::nullopt;
    }
    std::wstring value;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == L'"') {
            text.remove_prefix(i + 1);
            return value;
        }
        if (text[i] != L'\\' || i + 1 == text.size()) {
            value += text[i];
            continue;
        }
        const auto escaped = text[++i];
        if (escaped == L'0') {
            return std::nullopt;
        }
        value += escaped == L'n' ? L'\n' : escaped == L'r' ? L'\r' : escaped;
    }
    return std::nullopt;
}

// What may follow a value's data: nothing, or a comment.
bool EndsHere(std::wstring_view rest) {
    rest = Trim(rest);
    return rest.empty() || rest.front() == L';';
}

std::optional<std::uint32_t> ReadDword(std::wstring_view digits) {
    digits = Trim(digits);
    const auto end = std::min(digits.find_first_not_of(L"0123456789abcdefABCDEF"), digits.size());
    if (end == 0 || end > 8 || !EndsHere(digits.substr(end))) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(std::stoul(std::wstring(digits.substr(0, end)), nullptr, 16));
}

// "0a,00,00,00": comma-separated bytes of one or two hex digits, as `reg import` takes them.
std::optional<std::vector<std::uint8_t>> ReadBytes(std::wstring_view text) {
    std::vector<std::uint8_t> bytes;
    while (!EndsHere(text)) {
        const auto end = std::min(text.find_first_not_of(L"0123456789abcdefABCDEF"), text.size());
        if (end == 0 || end > 2) {
            return std::nullopt;
        }
        const std::wstring digits(text.substr(0, end));
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits, nullptr, 16)));
        text.remove_prefix(end);
        if (text.starts_with(L',')) {
            text.remove_prefix(1);
        } else if (!EndsHere(text)) {
            return std::nullopt;
        }
    }
    return bytes;
}

// A string value ends at its first zero, as a REG_SZ read from the registry does: text stored
// past an embedded zero is not part of it.
RegistryValue StringValue(std::wstring text) {
    RegistryValue value;
    value.type = RegistryValue::Type::String;
    value.text = std::move(text);
    value.text.resize(std::min(value.text.find(L'\0'), value.text.size()));
    return value;
}

// REG_SZ written as bytes (how an export shows a string with an embedded zero): UTF-16LE in a
// UTF-16 file, the file's own narrow text otherwise, as `reg import` takes them.
RegistryValue StringFromBytes(const std::vector<std::uint8_t>& bytes, bool utf16File) {
    std::wstring text;
    if (utf16File) {
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
            text += static_cast<wchar_t>(bytes[i] | bytes[i + 1] << 8);
        }
    } else {
        const std::string narrow(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
        try {
            text = Shared::Util::ConvertStringType(narrow);
        } catch (const std::exception&) {
            return {};  // not text: a value of another type
        }
    }
    return StringValue(std::move(text));
}

// hex:... and hex(type):...; hex(4) is REG_DWORD written byte by byte, least significant first,
// hex(1) a REG_SZ. Bytes continued on the next line ("...,\\") make a value of another type,
// not read here.
std::optional<RegistryValue> ParseHex(std::wstring_view data, bool utf16File) {
    RegistryValue value;
    if (data.ends_with(L'\\')) {
        return value;
    }
    const auto colon = data.find(L':');
    const auto bytes =
        colon == std::wstring_view::npos ? std::nullopt : ReadBytes(data.substr(colon + 1));
    if (!bytes) {
        return std::nullopt;
    }
    if (data.substr(0, colon) == L"hex(1)") {
        return StringFromBytes(*bytes, utf16File);
    }
    if (data.substr(0, colon) == L"hex(4)" && bytes->size() == 4) {
        value.type = RegistryValue::Type::Dword;
        for (auto byte = bytes->rbegin(); byte != bytes->rend(); ++byte) {
            value.dword = value.dword << 8 | *byte;
        }
    }
    return value;
}

std::optional<RegistryValue> ParseData(std::wstring_view data, bool utf16File) {
    RegistryValue value;
    if (auto text = ReadQuoted(data)) {
        if (!EndsHere(data)) {
            return std::nullopt;
        }
        return StringValue(std::move(*text));
    }
    if (data.starts_with(L"dword:")) {
        const auto dword = ReadDword(data.substr(6));
        if (!dword) {
            return std::nullopt;
        }
        value.type = RegistryValue::Type::Dword;
        value.dword = *dword;
        return value;
    }
    if (data.starts_with(L"hex:") || data.starts_with(L"hex(")) {
        return ParseHex(data, utf16File);
    }
    return std::nullopt;
}

// The key path below HKEY_LOCAL_MACHINE, lower-cased; nothing for another hive.
std::optional<std::wstring> MachineKey(std::wstring_view path) {
    for (const std::wstring_view hive : {L"hkey_local_machine\\", L"hklm\\"}) {
        if (Lower(path.substr(0, hive.size())) == hive) {
            auto key = Lower(path.substr(hive.size()));
            if (key.ends_with(L'\\')) {
                key.pop_back();
            }
            return key;
        }
    }
    return std::nullopt;
}

}  // namespace

RegistryExport RegistryExport::Parse(std::string_view bytes) {
    RegistryExport result;
    std::wstring text;
    try {
        text = DecodeText(bytes);
        result.utf16File_ = IsUtf16(bytes);
    } catch (const std::exception&) {
        return result;
    }
    std::wstring currentKey;
    bool headerSeen = false;
    std::size_t start = 0;
    while (start <= text.size()) {
        auto end = text.find(L'\n', start);
        if (end == std::wstring::npos) {
            end = text.size();
        }
        const auto line = Trim(std::wstring_view(text).substr(start, end - start));
        start = end + 1;
        if (line.empty() || line.front() == L';') {
            continue;
        }
        if (!headerSeen) {
            headerSeen = line == L"Windows Registry Editor Version 5.00" || line == L"REGEDIT4";
            if (!headerSeen) {
                return result;
            }
            continue;
        }
        if (line.front() == L'[') {
            result.ParseKeyLine(line, currentKey);
        } else if (!currentKey.empty()) {
            result.ParseValueLine(line, currentKey);
        }
    }
    return result;
}

// Like an import, a key brings its parents into being, and "[-key]" deletes it with its subkeys.
// A line without its closing bracket is ignored and leaves the current key as it was.
void RegistryExport::ParseKeyLine(std::wstring_view line, std::wstring& currentKey) {
    const auto close = line.rfind(L']');
    if (close == std::wstring_view::npos) {
        return;
    }
    auto path = line.substr(1, close - 1);
    const bool deletion = path.starts_with(L'-');
    auto key = MachineKey(deletion ? path.substr(1) : path);
    currentKey.clear();
    if (!key || key->empty()) {
        return;
    }
    if (deletion) {
        DeleteKey(*key);
        return;
    }
    for (auto slash = key->find(L'\\'); slash != std::wstring::npos;
         slash = key->find(L'\\', slash + 1)) {
        keys_[key->substr(0, slash)];
    }
    keys_[*key];
    currentKey = std::move(*key);
}

void RegistryExport::DeleteKey(const std::wstring& key) {
    const auto subkeys = key + L'\\';
    std::erase_if(keys_, [&](const auto& entry) {
        return entry.first == key || entry.first.starts_with(subkeys);
    });
}

void RegistryExport::ParseValueLine(std::wstring_view line, const std::wstring& currentKey) {
    std::wstring name;
    auto rest = line;
    if (rest.front() == L'@') {
        rest.remove_prefix(1);
    } else if (auto quoted = ReadQuoted(rest)) {
        name = Lower(*quoted);
    } else {
        return;
    }
    rest = Trim(rest);
    if (rest.empty() || rest.front() != L'=') {
        return;
    }
    const auto data = Trim(rest.substr(1));
    auto& values = keys_[currentKey];
    if (data.starts_with(L'-') && EndsHere(data.substr(1))) {
        values.erase(name);
    } else if (auto value = ParseData(data, utf16File_)) {
        values[name] = std::move(*value);
    }
}

const RegistryValue* RegistryExport::Find(std::wstring_view key, std::wstring_view name) const {
    const auto k = keys_.find(Lower(key));
    if (k == keys_.end()) {
        return nullptr;
    }
    const auto v = k->second.find(Lower(name));
    return v == k->second.end() ? nullptr : &v->second;
}

bool RegistryExport::HasKey(std::wstring_view key) const {
    return keys_.contains(Lower(key));
}

}  // namespace Shared::System
