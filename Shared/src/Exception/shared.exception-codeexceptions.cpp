#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"

#include <fmt/format.h>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"

namespace Shared::Exception {

std::string ComposeLocationForm(const std::string& message, const SourceLocation& where,
                                const StackTrace& trace) {
    return fmt::format("Exception in {}() at {}:{}:{} --> {}\n{}", where.function, where.file,
                       where.line, where.column, message, RenderStackTrace(trace));
}

namespace detail {
namespace {

std::string Header(const SourceLocation& where, const char* message) {
    return fmt::format("Exception in function {}() in {}:{}:{}: {}", where.function, where.file,
                       where.line, where.column, message);
}

std::string ComposeOrThrow(Form form, const char* message, std::uint32_t code,
                           const std::source_location& location, const CapturedStack& stack) {
    const auto where = SourceLocation::From(location);
    const auto trace = RenderStackTrace(Symbolise(stack));
    switch (form) {
        case Form::Win32:
            if (code == 0) {
                return fmt::format("{}\n{}", Header(where, message), trace);
            }
            return fmt::format("{} --> {} (error code {:#X})\n{} {}", Header(where, message),
                               TranslateSystemError(code), code, trace, HintFor(code));
        case Form::WinSock:
            return fmt::format("{} --> {} (error code {:#X})\n{}", Header(where, message),
                               TranslateModuleError(code, ErrorModule::WinSock), code, trace);
        case Form::NtStatus:
            if (!ModuleAvailable(ErrorModule::NtDll)) {
                return fmt::format("{}: {}", message, "failed acquiring ntdll.dll handle");
            }
            return fmt::format("{} --> {} (NTSTATUS code {:#X}).\n{} {}", Header(where, message),
                               TranslateModuleError(code, ErrorModule::NtDll), code, trace,
                               HintFor(code));
        case Form::Com:
            return fmt::format("COM {} --> {} (HRESULT {:#X})\n{} {}", Header(where, message),
                               TranslateModuleError(code, ErrorModule::System), code, trace,
                               HintFor(code));
    }
    return {};
}

std::string Compose(Form form, const char* message, std::uint32_t code,
                    const std::source_location& where, const CapturedStack& stack) noexcept {
    try {
        return ComposeOrThrow(form, message, code, where, stack);
    } catch (...) {
        return "Failed to convert error code";
    }
}

}  // namespace

CodeException::CodeException(Form form, const char* message, std::uint32_t code,
                             const std::source_location& where)
    : code_(code),
      text_([form, message = std::string(message), code, where, stack = CaptureStack()] {
          return Compose(form, message.c_str(), code, where, stack);
      }) {}

}  // namespace detail

void RenderNested(const std::exception& exception, std::string& output) {
    output += output.empty() ? fmt::format("Exception: {}", exception.what())
                             : fmt::format("\nNested exception: {}", exception.what());
    try {
        std::rethrow_if_nested(exception);
    } catch (const std::exception& nested) {
        RenderNested(nested, output);
    } catch (...) {
    }
}

}  // namespace Shared::Exception
