#include "Shared/src/Util/shared.util-strings.hpp"

#include <cwctype>

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

}  // namespace Shared::Util
