#include "Shared/src/Exception/shared.exception-errortext.hpp"

#include <netdb.h>

#include <cstring>

namespace Shared::Exception {
namespace {

// The one status the address parser reports.
constexpr std::uint32_t kStatusInvalidParameter = 0xC000000D;

std::string ErrnoText(std::uint32_t code) {
    char buffer[256] = {};
    const char* text = ::strerror_r(static_cast<int>(code), buffer, sizeof buffer);
    if (code > 4095 || std::strncmp(text, "Unknown error", 13) == 0) {
        return UntranslatableText(code);
    }
    return text;
}

}  // namespace

std::string TranslateSystemError(std::uint32_t code) {
    return StripOneTrailingCrLf(ErrnoText(code));
}

std::string TranslateModuleError(std::uint32_t code, ErrorModule module) {
    switch (module) {
        case ErrorModule::WinSock:
            // Resolver failures arrive as the resolver's own negative codes.
            if (static_cast<std::int32_t>(code) < 0) {
                return ::gai_strerror(static_cast<int>(code));
            }
            return ErrnoText(code);
        case ErrorModule::NtDll:
            if (code == kStatusInvalidParameter) {
                return "The parameter is incorrect.";
            }
            return UntranslatableText(code);
        case ErrorModule::System:
            break;
    }
    return ErrnoText(code);
}

// The texts come from the C library, which is always there.
bool ModuleAvailable(ErrorModule) noexcept {
    return true;
}

}  // namespace Shared::Exception
