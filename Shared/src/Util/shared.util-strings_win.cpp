#include "Shared/src/Util/shared.util-strings.hpp"

#include <fmt/format.h>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/Util/shared.util-flagfallback.hpp"

static_assert(sizeof(wchar_t) == 2);

namespace Shared::Util {
namespace {

std::uint32_t LastError() {
    return static_cast<std::uint32_t>(::GetLastError());
}

int WideToUtf8(std::wstring_view wide, char* out, int outSize) {
    return ConvertWithFlagFallback(
        [&](std::uint32_t flags) {
            return ::WideCharToMultiByte(CP_UTF8, flags, wide.data(), static_cast<int>(wide.size()),
                                         out, outSize, nullptr, nullptr);
        },
        LastError);
}

}  // namespace

std::string ConvertStringType(std::wstring_view wide) {
    if (wide.empty()) {
        return {};
    }
    const int size = WideToUtf8(wide, nullptr, 0);
    if (size == 0) {
        const auto error = LastError();
        throw Shared::Exception::Win32Exception(
            "ConvertWStringToString(): WideCharToMultiByte() [1] failed", error);
    }
    std::string narrow(static_cast<std::size_t>(size), '\0');
    if (WideToUtf8(wide, narrow.data(), size) == 0) {
        const auto error = LastError();
        throw Shared::Exception::Win32Exception(
            "ConvertWStringToString(): WideCharToMultiByte() [2] failed", error);
    }
    return narrow;
}

std::wstring ConvertStringType(std::string_view narrow) {
    if (narrow.empty()) {
        return {};
    }
    const int length = static_cast<int>(narrow.size());
    const int size = ::MultiByteToWideChar(CP_UTF8, 0, narrow.data(), length, nullptr, 0);
    if (size == 0) {
        const auto error = LastError();
        throw Shared::Exception::Win32Exception("MultiByteToWideChar() [1] failed", error);
    }
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    if (::MultiByteToWideChar(CP_UTF8, 0, narrow.data(), length, wide.data(), size) == 0) {
        const auto error = LastError();
        throw Shared::Exception::Win32Exception("MultiByteToWideChar() [2] failed", error);
    }
    return wide;
}

// Never throws, and never builds an exception: exception texts are made with it.
std::string ConvertErrorString(std::wstring_view wide) noexcept {
    try {
        if (wide.empty()) {
            return {};
        }
        const int size = WideToUtf8(wide, nullptr, 0);
        if (size == 0) {
            return fmt::format("Failed converting error string [1]: {}", LastError());
        }
        std::string narrow(static_cast<std::size_t>(size), '\0');
        if (WideToUtf8(wide, narrow.data(), size) == 0) {
            return fmt::format("Failed converting error string [2]: {}", LastError());
        }
        return narrow;
    } catch (...) {
        return {};
    }
}

}  // namespace Shared::Util
