#include "Shared/src/Log/shared.log-guardedlog.hpp"

#include <iostream>

#include <spdlog/spdlog.h>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Exception/shared.exception-sourcelocation.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Log::detail {
namespace {

std::string Compose(Member member, const Shared::Exception::SourceLocation& at,
                    const std::string& message, const std::exception* exception) {
    switch (member) {
        case Member::Plain:
            return message;
        case Member::LocatedError:
            return fmt::format("Error in function {}() of file {}:{}:{} ---> {}", at.function,
                               at.file, at.line, at.column, message);
        case Member::Exception: {
            std::string rendered;
            Shared::Exception::RenderNested(*exception, rendered);
            return fmt::format(
                "Exception logged in function {}() of file {}:{}:{} ---> {}.\nException "
                "information ---> {}",
                at.function, at.file, at.line, at.column, message, rendered);
        }
    }
    return message;
}

void ReportFormatFault(Member member, const Shared::Exception::SourceLocation& at,
                       const std::exception& fault) noexcept {
    const bool isException = member == Member::Exception;
    try {
        spdlog::default_logger_raw()->log(
            spdlog::level::err,
            fmt::runtime(isException ? "GuardedLog() [2] failed formatting log at: {}:{}:{}:{}"
                                     : "GuardedLog() [1] failed formatting log at: {}:{}:{}:{}"),
            at.function, at.file, at.line, at.column);
    } catch (...) {
        try {
            std::wcerr << (isException ? L"GuardedLog() [2] giving up due to formatting error: "
                                       : L"GuardedLog() [1] giving up formatting: ")
                       << Shared::Util::ConvertStringType(std::string_view(fault.what()))
                       << std::endl;
        } catch (...) {
        }
    }
}

}  // namespace

void Write(Member member, spdlog::level::level_enum level, const std::source_location& where,
           fmt::string_view text, fmt::format_args args,
           const std::exception* exception) noexcept {
    try {
        auto* logger = spdlog::default_logger_raw();
        if (logger == nullptr || !logger->should_log(level)) {
            return;
        }
        const auto at = Shared::Exception::SourceLocation::From(where);
        try {
            logger->log(level, "{}", Compose(member, at, fmt::vformat(text, args), exception));
        } catch (const std::exception& fault) {
            ReportFormatFault(member, at, fault);
        }
    } catch (...) {
    }
}

}  // namespace Log::detail
