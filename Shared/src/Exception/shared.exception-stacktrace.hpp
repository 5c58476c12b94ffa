#pragma once
// Stack traces captured at every throw, rendered into the exception's text.

#include <cstddef>
#include <string>
#include <vector>

namespace Shared::Exception {

struct StackFrame {
    std::string description;
    std::string sourceFile;  // empty when the frame has no debug information
    std::size_t sourceLine = 0;
};

using StackTrace = std::vector<StackFrame>;

// Innermost frame first; the capturing function itself is left out.
StackTrace CaptureStackTrace();

// "Stacktrace:\n" then one block per frame, up to (not including) the first start-up frame.
std::string RenderStackTrace(const StackTrace& trace);

}  // namespace Shared::Exception
