#include "Shared/src/System/shared.system-hostresolver.hpp"

#include <fmt/format.h>

namespace Shared::System::detail {

std::string UnfinishedMessage(const std::string& name, std::uint32_t timeoutMs, bool givenUp) {
    if (givenUp) {
        return fmt::format("Address resolution for host name \"{}\" was given up: the run is "
                           "stopping.",
                           name);
    }
    return fmt::format("Address reolution for host name \"{}\" took longer than {} ms to complete.",
                       name, timeoutMs);
}

}  // namespace Shared::System::detail
