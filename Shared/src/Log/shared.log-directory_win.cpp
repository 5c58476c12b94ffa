#include "Shared/src/Log/shared.log-directory.hpp"

#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace Log {

std::string LogDirectory() {
    return Shared::Util::ConvertErrorString(Shared::Util::GetCurrentExecutableDirectory());
}

}  // namespace Log
