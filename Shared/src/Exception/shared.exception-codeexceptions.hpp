#pragma once
// Exceptions that carry an operating-system code. Each composes its full text once, when
// constructed: location header, the system's text for the code, the stack trace, a hint.

#include <cstdint>
#include <exception>
#include <source_location>
#include <string>

#include "Shared/src/Exception/shared.exception-errortext.hpp"

namespace Shared::Exception {

namespace detail {

class CodeException : public std::exception {
public:
    const char* what() const noexcept override { return composed_.c_str(); }
    std::uint32_t Code() const noexcept { return code_; }

protected:
    CodeException(std::uint32_t code, std::string composed)
        : code_(code), composed_(std::move(composed)) {}

private:
    std::uint32_t code_;
    std::string composed_;
};

enum class Form { Win32, WinSock, NtStatus, Com };

// Never throws: a failing composition gives "Failed to convert error code".
std::string Compose(Form form, const char* message, std::uint32_t code,
                    const std::source_location& where) noexcept;

}  // namespace detail

class Win32Exception : public detail::CodeException {
public:
    Win32Exception(const char* message, std::uint32_t code,
                   const std::source_location& where = std::source_location::current())
        : CodeException(code, detail::Compose(detail::Form::Win32, message, code, where)) {}
};

class NtStatusException : public detail::CodeException {
public:
    NtStatusException(const char* message, std::uint32_t code,
                      const std::source_location& where = std::source_location::current())
        : CodeException(code, detail::Compose(detail::Form::NtStatus, message, code, where)) {}
};

class ComException : public detail::CodeException {
public:
    ComException(const char* message, std::uint32_t code,
                 const std::source_location& where = std::source_location::current())
        : CodeException(code, detail::Compose(detail::Form::Com, message, code, where)) {}
};

// Appends "Exception: {what}" (or "\nNested exception: {what}" when the output already has
// text), then does the same for every nested exception, outermost first.
void RenderNested(const std::exception& exception, std::string& output);

}  // namespace Shared::Exception

namespace Shared::WinSock {

class WinSockException : public Shared::Exception::detail::CodeException {
public:
    WinSockException(const char* message, std::uint32_t code,
                     const std::source_location& where = std::source_location::current())
        : CodeException(code, Shared::Exception::detail::Compose(
                                  Shared::Exception::detail::Form::WinSock, message, code, where)) {}
};

}  // namespace Shared::WinSock
