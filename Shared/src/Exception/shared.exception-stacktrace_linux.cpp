// Frames come from GCC's libbacktrace through one process-wide, thread-safe state: the DWARF
// of the binary is loaded once. (Boost.Stacktrace keeps one state per thread, which cost a run
// of 200 concurrent tests several gigabytes.)

#include "Shared/src/Exception/shared.exception-stacktrace.hpp"

#include <backtrace.h>
#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <mutex>

#include <fmt/format.h>

namespace Shared::Exception {
namespace {

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

int AppendFrame(void* data, std::uintptr_t pc, const char* file, int line, const char* function) {
    auto& trace = *static_cast<StackTrace*>(data);
    auto description = function != nullptr ? Demangle(function) : fmt::format("{:#x}", pc);
    trace.push_back({std::move(description), file != nullptr ? file : "",
                     static_cast<std::size_t>(line)});
    return 0;
}

}  // namespace

StackTrace CaptureStackTrace() {
    // libbacktrace synchronises its lazy loading internally, but out of ThreadSanitizer's
    // sight; one walk at a time keeps that visible and costs little once the DWARF is loaded.
    static std::mutex walking;
    StackTrace trace;
    try {
        std::lock_guard lock(walking);
        if (auto* state = SharedState()) {
            ::backtrace_full(state, 1, AppendFrame, IgnoreError, &trace);
        }
    } catch (...) {
        // A trace is a courtesy; an exception must still be constructible without one.
    }
    return trace;
}

}  // namespace Shared::Exception
