#include "Shared/src/Util/shared.util-strings.hpp"

#include <cwctype>

#include <fmt/format.h>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"

namespace Shared::Util {

bool EqualsIgnoreCase(std::wstring_view left, std::wstring_view right) {
    if (left.size() != right.size()) {
        return false;
    }
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (std::towlower(static_cast<wint_t>(left[i])) !=
            std::towlower(static_cast<wint_t>(right[i]))) {
            return false;
        }
    }
    return true;
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
