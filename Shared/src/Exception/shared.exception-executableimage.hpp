#pragma once
// Where the stack-trace lookup finds the debug information of the code at a return address.

#include <cstdint>
#include <optional>
#include <string>

namespace Shared::Exception::detail {

// The executable's path as the C runtime's open() takes it; empty lets the lookup find the
// file itself. Empty also when the path cannot be had.
std::string ExecutablePathForLookup() noexcept;

// The address that the debug information gives the code now at `address`; nothing when the
// debug information the lookup reads does not cover it.
std::optional<std::uintptr_t> LinkTimeAddress(std::uintptr_t address) noexcept;

}  // namespace Shared::Exception::detail
