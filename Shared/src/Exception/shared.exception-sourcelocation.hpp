#pragma once
// Where an exception was raised or a log line was written, as reported to operators.

#include <cstdint>
#include <source_location>
#include <string>

namespace Shared::Exception {

struct SourceLocation {
    std::uint32_t line = 0;
    std::uint32_t column = 0;
    std::string file;      // module path relative to the repository, without extension
    std::string function;  // full signature as the compiler spells it

    // "/repo/Shared/src/Json/shared.json-configobjects.cpp" => "Shared/src/Json/shared.json-configobjects"
    static SourceLocation From(const std::source_location& where);
};

std::string ModulePathOf(std::string_view compilerFileName);

}  // namespace Shared::Exception
