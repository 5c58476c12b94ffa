#pragma once
// Exceptions that carry an operating-system code. The text (location header, the system's text
// for the code, the stack trace, a hint) is composed when it is first read.

#include <cstdint>
#include <exception>
#include <source_location>
#include <string>

#include "Shared/src/Exception/shared.exception-deferredtext.hpp"
#include "Shared/src/Exception/shared.exception-errortext.hpp"

namespace Shared::Exception {

namespace detail {

enum class Form { Win32, WinSock, NtStatus, Com };

class CodeException : public std::exception {
public:
    // A failing composition reads "Failed to convert error code".
    const char* what() const noexcept override { return text_.Read(); }
    std::uint32_t Code() const noexcept { return code_; }

protected:
    CodeException(Form form, const char* message, std::uint32_t code,
                  const std::source_location& where);

private:
    std::uint32_t code_;
    DeferredText text_;
};

}  // namespace detail

class Win32Exception : public detail::CodeException {
public:
    Win32Exception(const char* message, std::uint32_t code,
                   const std::source_location& where = std::source_location::current())
        : CodeException(detail::Form::Win32, message, code, where) {}
};

class NtStatusException : public detail::CodeException {
public:
    NtStatusException(const char* message, std::uint32_t code,
                      const std::source_location& where = std::source_location::current())
        : CodeException(detail::Form::NtStatus, message, code, where) {}
};

class ComException : public detail::CodeException {
public:
    ComException(const char* message, std::uint32_t code,
                 const std::source_location& where = std::source_location::current())
        : CodeException(detail::Form::Com, message, code, where) {}
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
        : CodeException(Shared::Exception::detail::Form::WinSock, message, code, where) {}
};

}  // namespace Shared::WinSock
