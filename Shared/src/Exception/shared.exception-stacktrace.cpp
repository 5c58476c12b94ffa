#include "Shared/src/Exception/shared.exception-stacktrace.hpp"

#include <array>
#include <atomic>
#include <mutex>
#include <string_view>

#include <fmt/format.h>

namespace Shared::Exception {
namespace {

// Start-up and thread-start frames; they and everything outside them are noise. Besides the
// Microsoft C runtime's and glibc's: mingw's (__tmainCRTStartup, mainCRTStartup,
// WinMainCRTStartup), std::thread's start routine, the POSIX thread start of mingw's
// winpthreads, the C runtime's thread start behind _beginthreadex, and the system's thread thunks.
constexpr std::array<std::string_view, 14> kStartupFrames = {
    "invoke_main", "ucrtbase", "__scrt_common_main_seh",
    "__libc_start_call_main", "__libc_start_main", "_start",
    "mainCRTStartup", "WinMainCRTStartup", "execute_native_thread_routine",
    "pthread_create_wrapper", "_threadstartex", "_beginthreadex", "BaseThreadInitThunk",
    "RtlUserThreadStart"};

std::atomic<std::size_t> symbolisedStacks{0};

bool IsStartupFrame(std::string_view description) {
    for (const auto marker : kStartupFrames) {
        if (description.find(marker) != std::string_view::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace

StackTrace Symbolise(const CapturedStack& stack) {
    static std::mutex lookingUp;
    std::lock_guard lock(lookingUp);
    symbolisedStacks.fetch_add(1, std::memory_order_relaxed);
    return detail::LookUpFrames(stack);
}

std::size_t SymbolisedStacks() noexcept {
    return symbolisedStacks.load(std::memory_order_relaxed);
}

std::string RenderStackTrace(const StackTrace& trace) {
    std::string text = "Stacktrace:\n";
    for (const auto& frame : trace) {
        if (IsStartupFrame(frame.description)) {
            break;
        }
        if (frame.sourceFile.empty()) {
            text += fmt::format("\tFrame: {}\n\t------------------------------------\n",
                                frame.description);
        } else {
            text += fmt::format(
                "\tFrame: {}\n\tSource file: {}:{}\n\t------------------------------------\n",
                frame.description, frame.sourceFile, frame.sourceLine);
        }
        // Whatever called main is start-up code, nameless where the C runtime has no debug
        // information (mingw's).
        if (frame.description == "main") {
            break;
        }
    }
    return text;
}

}  // namespace Shared::Exception
