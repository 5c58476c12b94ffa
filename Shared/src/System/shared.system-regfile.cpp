#include "Shared/src/System/shared.system-regfile.hpp"

#include <cwctype>
#include <optional>

#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::System {
namespace {

constexpr std::wstring_view kHive = L"HKEY_LOCAL_MACHINE\\";

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

std::wstring DecodeText(std::string_view bytes) {
    if (bytes.starts_with("\xFF\xFE")) {
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

// Reads a quoted string starting at text[0] == '"'; advances `text` past the closing quote.
std::optional<std::wstring> ReadQuoted(std::wstring_view& text) {
    if (text.empty() || text.front() != L'"') {
        return std::nullopt;
    }
    std::wstring value;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == L'\\' && i + 1 < text.size()) {
            value += text[++i];
        } else if (text[i] == L'"') {
            text.remove_prefix(i + 1);
            return value;
        } else {
            value += text[i];
        }
    }
    return std::nullopt;
}

std::optional<RegistryValue> ParseData(std::wstring_view data) {
    RegistryValue value;
    if (!data.empty() && data.front() == L'"') {
        auto text = ReadQuoted(data);
        if (!text || !Trim(data).empty()) {
            return std::nullopt;
        }
        value.type = RegistryValue::Type::String;
        value.text = std::move(*text);
        return value;
    }
    const auto lower = Lower(data);
    if (lower.starts_with(L"dword:")) {
        const auto digits = lower.substr(6);
        if (digits.empty() || digits.size() > 8 ||
            digits.find_first_not_of(L"0123456789abcdef") != std::wstring::npos) {
            return std::nullopt;
        }
        value.type = RegistryValue::Type::Dword;
        value.dword = static_cast<std::uint32_t>(std::stoul(digits, nullptr, 16));
        return value;
    }
    if (lower.starts_with(L"hex")) {
        value.type = RegistryValue::Type::Other;
        return value;
    }
    return std::nullopt;
}

}  // namespace

RegistryExport RegistryExport::Parse(std::string_view bytes) {
    RegistryExport result;
    std::wstring text;
    try {
        text = DecodeText(bytes);
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
        result.ParseLine(line, currentKey);
    }
    return result;
}

void RegistryExport::ParseLine(std::wstring_view line, std::wstring& currentKey) {
    if (line.front() == L'[') {
        currentKey.clear();
        if (line.back() != L']') {
            return;
        }
        auto path = line.substr(1, line.size() - 2);
        if (Lower(path.substr(0, kHive.size())) != Lower(kHive)) {
            return;  // another hive, or a deletion "[-...]": not ours to read
        }
        currentKey = Lower(path.substr(kHive.size()));
        keys_[currentKey];
        return;
    }
    if (currentKey.empty()) {
        return;
    }
    std::wstring name;
    auto rest = line;
    if (rest.front() == L'@') {
        rest.remove_prefix(1);
    } else if (auto quoted = ReadQuoted(rest)) {
        name = std::move(*quoted);
    } else {
        return;
    }
    rest = Trim(rest);
    if (rest.empty() || rest.front() != L'=') {
        return;
    }
    if (auto value = ParseData(Trim(rest.substr(1)))) {
        keys_[currentKey][Lower(name)] = std::move(*value);
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
