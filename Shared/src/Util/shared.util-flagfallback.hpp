#pragma once
// Windows refuses WC_NO_BEST_FIT_CHARS (0x400) for the UTF-8 code page with ERROR_INVALID_FLAGS,
// which would fail every conversion. The flag stays the first choice; when the system refuses
// it, the same conversion runs again without flags.

#include <cstdint>

namespace Shared::Util {

inline constexpr std::uint32_t kNoBestFitChars = 0x400;
inline constexpr std::uint32_t kErrorInvalidFlags = 1004;

// `convert(flags)` returns the system's count (0 = failure); `lastError()` reads the failure.
template <typename Convert, typename LastError>
int ConvertWithFlagFallback(Convert convert, LastError lastError) {
    const int result = convert(kNoBestFitChars);
    if (result == 0 && lastError() == kErrorInvalidFlags) {
        return convert(0);
    }
    return result;
}

}  // namespace Shared::Util
