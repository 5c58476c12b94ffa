#pragma once
// Stack traces in two steps: return addresses at the throw, which reads no debug information,
// and names and source lines only when an exception's text is rendered.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Shared::Exception {

struct StackFrame {
    std::string description;
    std::string sourceFile;  // empty when the frame has no debug information
    std::size_t sourceLine = 0;
};

using StackTrace = std::vector<StackFrame>;

// Code addresses, innermost first.
using CapturedStack = std::vector<std::uintptr_t>;

// The capturing function itself is left out. A stack that cannot be walked gives fewer frames.
CapturedStack CaptureStack() noexcept;

// Names and source lines of captured addresses. The first call in a process loads the debug
// information; callers on several threads take turns.
StackTrace Symbolise(const CapturedStack& stack);

// How many stacks Symbolise has looked up in this process.
std::size_t SymbolisedStacks() noexcept;

// "Stacktrace:\n" then one block per frame, up to (not including) the first start-up frame.
std::string RenderStackTrace(const StackTrace& trace);

namespace detail {

// The platform's lookup behind Symbolise; never runs on two threads at once.
StackTrace LookUpFrames(const CapturedStack& stack);

}  // namespace detail

}  // namespace Shared::Exception
