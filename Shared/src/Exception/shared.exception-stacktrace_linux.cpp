// Addresses come from the unwinder at the throw; names and lines from GCC's libbacktrace through
// one process-wide state, created by the first lookup: a process that never renders a trace never
// loads the binary's DWARF. (Boost.Stacktrace keeps one state per thread, which cost a run of
// 200 concurrent tests several gigabytes.)

#include "Shared/src/Exception/shared.exception-stacktrace.hpp"

#include <backtrace.h>
#include <cxxabi.h>
#include <unwind.h>

#include <cstdlib>
#include <memory>

#include <fmt/format.h>

namespace Shared::Exception {
namespace {

struct Walk {
    CapturedStack& stack;
    int framesToSkip;
};

_Unwind_Reason_Code CollectAddress(_Unwind_Context* context, void* data) {
    auto& walk = *static_cast<Walk*>(data);
    int beforeInstruction = 0;
    auto address = static_cast<std::uintptr_t>(::_Unwind_GetIPInfo(context, &beforeInstruction));
    if (walk.framesToSkip > 0) {
        --walk.framesToSkip;
        return _URC_NO_REASON;
    }
    // A return address points past the call; the call itself names the right line.
    if (beforeInstruction == 0) {
        --address;
    }
    try {
        walk.stack.push_back(address);
    } catch (...) {
        return _URC_END_OF_STACK;
    }
    return _URC_NO_REASON;
}

void IgnoreError(void*, const char*, int) {}

backtrace_state* SharedState() {
    static backtrace_state* const state = ::backtrace_create_state(nullptr, 1, IgnoreError, nullptr);
    return state;
}

std::string Demangle(const char* name) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> demangled(
        abi::__cxa_demangle(name, nullptr, nullptr, &status), &std::free);
    return status == 0 && demangled ? demangled.get() : name;
}

// Called once per frame, inlined calls included, innermost first.
int AppendFrame(void* data, std::uintptr_t pc, const char* file, int line, const char* function) {
    auto& trace = *static_cast<StackTrace*>(data);
    auto description = function != nullptr ? Demangle(function) : fmt::format("{:#x}", pc);
    trace.push_back({std::move(description), file != nullptr ? file : "",
                     static_cast<std::size_t>(line)});
    return 0;
}

}  // namespace

[[gnu::noinline]] CapturedStack CaptureStack() noexcept {
    CapturedStack stack;
    Walk walk{stack, 1};
    ::_Unwind_Backtrace(CollectAddress, &walk);
    return stack;
}

namespace detail {

StackTrace LookUpFrames(const CapturedStack& stack) {
    StackTrace trace;
    auto* state = SharedState();
    if (state == nullptr) {
        return trace;
    }
    for (const auto address : stack) {
        ::backtrace_pcinfo(state, address, AppendFrame, IgnoreError, &trace);
    }
    return trace;
}

}  // namespace detail

}  // namespace Shared::Exception
