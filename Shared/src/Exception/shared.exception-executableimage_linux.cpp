// libbacktrace finds the executable through /proc/self/exe and every shared object, each at its
// load address, through dl_iterate_phdr: run-time addresses are what it looks up.

#include "Shared/src/Exception/shared.exception-executableimage.hpp"

namespace Shared::Exception::detail {

std::string ExecutablePathForLookup() noexcept {
    return {};
}

std::optional<std::uintptr_t> LinkTimeAddress(std::uintptr_t address) noexcept {
    return address;
}

}  // namespace Shared::Exception::detail
