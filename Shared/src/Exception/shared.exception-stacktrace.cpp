#include "Shared/src/Exception/shared.exception-stacktrace.hpp"

#include <array>
#include <string_view>

#include <fmt/format.h>

namespace Shared::Exception {
namespace {

// Frames of the C runtime's start-up code; they and everything outside them are noise.
constexpr std::array<std::string_view, 6> kStartupFrames = {
    "invoke_main",       "ucrtbase", "__scrt_common_main_seh", "__libc_start_call_main",
    "__libc_start_main", "_start"};

bool IsStartupFrame(std::string_view description) {
    for (const auto marker : kStartupFrames) {
        if (description.find(marker) != std::string_view::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace

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
    }
    return text;
}

}  // namespace Shared::Exception
