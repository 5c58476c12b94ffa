#include "Shared/src/Util/shared.util-strings.hpp"

#include <cerrno>
#include <cstdint>

#include <fmt/format.h>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"

// wchar_t holds UTF-32 here, so the conversions are plain UTF-8 <-> code point transcoding.
static_assert(sizeof(wchar_t) == 4);

namespace Shared::Util {
namespace {

bool IsScalarValue(std::uint32_t cp) {
    return cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF);
}

void AppendUtf8(std::string& out, std::uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// Decodes one UTF-8 sequence at `pos`; returns false on a malformed or overlong sequence.
bool DecodeUtf8(std::string_view text, std::size_t& pos, std::uint32_t& cp) {
    const auto lead = static_cast<unsigned char>(text[pos]);
    std::size_t length = 0;
    std::uint32_t minimum = 0;
    if (lead < 0x80) {
        cp = lead;
        ++pos;
        return true;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2, cp = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, cp = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, cp = lead & 0x07, minimum = 0x10000;
    } else {
        return false;
    }
    if (pos + length > text.size()) {
        return false;
    }
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[pos + i]);
        if ((next & 0xC0) != 0x80) {
            return false;
        }
        cp = (cp << 6) | (next & 0x3F);
    }
    pos += length;
    return cp >= minimum && IsScalarValue(cp);
}

}  // namespace

std::string ConvertStringType(std::wstring_view wide) {
    std::string narrow;
    narrow.reserve(wide.size());
    for (const wchar_t unit : wide) {
        const auto cp = static_cast<std::uint32_t>(unit);
        if (!IsScalarValue(cp)) {
            throw Shared::Exception::Win32Exception(
                "ConvertWStringToString(): WideCharToMultiByte() [1] failed", EILSEQ);
        }
        AppendUtf8(narrow, cp);
    }
    return narrow;
}

std::wstring ConvertStringType(std::string_view narrow) {
    std::wstring wide;
    wide.reserve(narrow.size());
    std::size_t pos = 0;
    while (pos < narrow.size()) {
        std::uint32_t cp = 0;
        if (!DecodeUtf8(narrow, pos, cp)) {
            throw Shared::Exception::Win32Exception("MultiByteToWideChar() [1] failed", EILSEQ);
        }
        wide += static_cast<wchar_t>(cp);
    }
    return wide;
}

std::string ConvertErrorString(std::wstring_view wide) noexcept {
    try {
        return ConvertStringType(wide);
    } catch (const Shared::Exception::Win32Exception& e) {
        try {
            return fmt::format("Failed converting error string [1]: {}", e.Code());
        } catch (...) {
        }
    } catch (...) {
    }
    return {};
}

}  // namespace Shared::Util
