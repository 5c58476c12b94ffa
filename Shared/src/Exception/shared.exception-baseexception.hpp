#pragma once
// The exception for failed preconditions: no operating-system code, only a message,
// the place of the throw and the stack trace.

#include <source_location>
#include <stdexcept>
#include <string>

#include "Shared/src/Exception/shared.exception-sourcelocation.hpp"
#include "Shared/src/Exception/shared.exception-stacktrace.hpp"

namespace Shared::Exception {

struct D {};

// "Exception in {function}() at {file}:{line}:{column} --> {message}\n{stack trace}"
std::string ComposeLocationForm(const std::string& message, const SourceLocation& where,
                                const StackTrace& trace);

template <typename StdException, typename Tag = D>
class BaseException : public StdException {
public:
    explicit BaseException(const std::string& message,
                           const std::source_location& where = std::source_location::current())
        : StdException(
              ComposeLocationForm(message, SourceLocation::From(where), CaptureStackTrace())) {}
};

using RuntimeError = BaseException<std::runtime_error, D>;
using InvalidArgument = BaseException<std::invalid_argument, D>;

}  // namespace Shared::Exception
