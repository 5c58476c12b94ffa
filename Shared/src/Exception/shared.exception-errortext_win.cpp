#include "Shared/src/Exception/shared.exception-errortext.hpp"

#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::Exception {
namespace {

constexpr DWORD kNeutralDefaultLanguage = MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT);

// The message table text for `code`, from `module` (and the system table) or the system table
// alone when `module` is null; empty when the system has none.
std::string FormatFromTables(std::uint32_t code, HMODULE module) {
    DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                  FORMAT_MESSAGE_FROM_SYSTEM;
    if (module != nullptr) {
        flags |= FORMAT_MESSAGE_FROM_HMODULE;
    }
    wchar_t* buffer = nullptr;
    const DWORD length = ::FormatMessageW(flags, module, code, kNeutralDefaultLanguage,
                                          reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    if (length == 0 || buffer == nullptr) {
        return {};
    }
    std::wstring text(buffer, length);
    ::LocalFree(buffer);
    return Shared::Util::ConvertErrorString(text);
}

HMODULE ModuleFor(ErrorModule module) {
    switch (module) {
        case ErrorModule::WinSock:
            return ::GetModuleHandleW(L"Ws2_32.dll");
        case ErrorModule::NtDll:
            return ::GetModuleHandleW(L"ntdll.dll");
        case ErrorModule::System:
            break;
    }
    return nullptr;
}

}  // namespace

std::string TranslateSystemError(std::uint32_t code) {
    // WinHTTP's codes live in its own table; the module is used only when already loaded.
    const HMODULE module = code >= 12000 && code < 12193 ? ::GetModuleHandleW(L"winhttp.dll")
                                                         : nullptr;
    auto text = FormatFromTables(code, module);
    return text.empty() ? UntranslatableText(code) : StripOneTrailingCrLf(std::move(text));
}

std::string TranslateModuleError(std::uint32_t code, ErrorModule module) {
    auto text = FormatFromTables(code, ModuleFor(module));
    return text.empty() ? UntranslatableText(code) : text;
}

bool ModuleAvailable(ErrorModule module) noexcept {
    return module == ErrorModule::System || ModuleFor(module) != nullptr;
}

}  // namespace Shared::Exception
