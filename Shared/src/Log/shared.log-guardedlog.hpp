#pragma once
// Every log call of the program goes through GuardedLog: the caller's place is captured
// automatically, format strings are checked when the code is built, and nothing ever throws
// out of a log call. A format fault becomes an error line naming the caller instead.

#include <exception>
#include <source_location>
#include <string_view>
#include <type_traits>

#include <fmt/format.h>
#include <spdlog/common.h>

namespace Log {

// A format string together with the place of the call that passed it.
template <typename... Args>
struct LocatedFormat {
    template <typename S>
        requires std::is_convertible_v<const S&, std::string_view>
    consteval LocatedFormat(const S& text,
                            const std::source_location& where = std::source_location::current())
        : text(text), where(where) {}

    // For texts only known at run time (fmt::runtime); checked when formatted.
    LocatedFormat(fmt::basic_runtime<char> text,
                  const std::source_location& where = std::source_location::current())
        : text(text), where(where) {}

    fmt::format_string<Args...> text;
    std::source_location where;
};

template <typename... Args>
using Format = LocatedFormat<std::type_identity_t<Args>...>;

namespace detail {

enum class Member { Plain, Exception, LocatedError };

void Write(Member member, spdlog::level::level_enum level, const std::source_location& where,
           fmt::string_view text, fmt::format_args args,
           const std::exception* exception) noexcept;

}  // namespace detail

struct GuardedLog {
    template <typename... Args>
    static void Debug(Format<Args...> format, Args&&... args) noexcept {
        Plain(spdlog::level::debug, format, args...);
    }
    template <typename... Args>
    static void Info(Format<Args...> format, Args&&... args) noexcept {
        Plain(spdlog::level::info, format, args...);
    }
    template <typename... Args>
    static void Warn(Format<Args...> format, Args&&... args) noexcept {
        Plain(spdlog::level::warn, format, args...);
    }
    // "Error in function {}() of file {}:{}:{} ---> {message}"
    template <typename... Args>
    static void Error(Format<Args...> format, Args&&... args) noexcept {
        detail::Write(detail::Member::LocatedError, spdlog::level::err, format.where,
                      format.text, fmt::make_format_args(args...), nullptr);
    }
    // "Exception logged in function {}() of file {}:{}:{} ---> {message}.\n
    //  Exception information ---> {the exception and every nested one}"
    template <typename... Args>
    static void ExceptionWarn(const std::exception& e, Format<Args...> format,
                              Args&&... args) noexcept {
        detail::Write(detail::Member::Exception, spdlog::level::warn, format.where, format.text,
                      fmt::make_format_args(args...), &e);
    }
    template <typename... Args>
    static void ExceptionError(const std::exception& e, Format<Args...> format,
                               Args&&... args) noexcept {
        detail::Write(detail::Member::Exception, spdlog::level::err, format.where, format.text,
                      fmt::make_format_args(args...), &e);
    }

private:
    template <typename LocatedText, typename... Args>
    static void Plain(spdlog::level::level_enum level, const LocatedText& format,
                      Args&... args) noexcept {
        detail::Write(detail::Member::Plain, level, format.where, format.text,
                      fmt::make_format_args(args...), nullptr);
    }
};

}  // namespace Log
