#pragma once
// The exception for failed preconditions: no operating-system code, only a message,
// the place of the throw and the stack trace.

#include <source_location>
#include <stdexcept>
#include <string>

#include "Shared/src/Exception/shared.exception-deferredtext.hpp"
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
        : StdException(message),
          text_([message, where, stack = CaptureStack()] {
              return ComposeLocationForm(message, SourceLocation::From(where), Symbolise(stack));
          }) {}

    // The composed text; the plain message if composing it failed.
    const char* what() const noexcept override {
        const char* text = text_.Read();
        return *text != '\0' ? text : StdException::what();
    }

private:
    DeferredText text_;
};

using RuntimeError = BaseException<std::runtime_error, D>;
using InvalidArgument = BaseException<std::invalid_argument, D>;

}  // namespace Shared::Exception
