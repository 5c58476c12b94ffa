#include "Shared/src/Exception/shared.exception-sourcelocation.hpp"

namespace Shared::Exception {

std::string ModulePathOf(std::string_view compilerFileName) {
    constexpr std::string_view root = HOPR_SOURCE_ROOT;
    if (compilerFileName.starts_with(root)) {
        compilerFileName.remove_prefix(root.size());
    }
    const auto slash = compilerFileName.find_last_of("/\\");
    const auto dot = compilerFileName.find_last_of('.');
    if (dot != std::string_view::npos && (slash == std::string_view::npos || dot > slash)) {
        compilerFileName = compilerFileName.substr(0, dot);
    }
    return std::string(compilerFileName);
}

SourceLocation SourceLocation::From(const std::source_location& where) {
    return SourceLocation{where.line(), where.column(), ModulePathOf(where.file_name()),
                          where.function_name()};
}

}  // namespace Shared::Exception
