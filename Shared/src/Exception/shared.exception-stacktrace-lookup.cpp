// One walker on both platforms: return addresses from the unwinder at the throw; names and lines
// from GCC's libbacktrace (ELF on Linux, PE/COFF on Windows, DWARF in both) through one
// process-wide state, created by the first lookup: a process that never renders a trace never
// loads the binary's DWARF. (Boost.Stacktrace keeps one state per thread, which cost a run of
// 200 concurrent tests several gigabytes.) A frame without line information is named from the
// symbol table: the C runtime's start-up and thread-start code has no DWARF, and its names are
// what end a walk.

#include "Shared/src/Exception/shared.exception-stacktrace.hpp"

#include <backtrace.h>
#include <cxxabi.h>
#include <unwind.h>

#include <cstdlib>
#include <memory>

#include <fmt/format.h>

#include "Shared/src/Exception/shared.exception-executableimage.hpp"

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
    if (address == 0) {
        return _URC_END_OF_STACK;
    }
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
    // The state keeps the pointer to the file name.
    static const std::string executable = detail::ExecutablePathForLookup();
    static backtrace_state* const state = ::backtrace_create_state(
        executable.empty() ? nullptr : executable.c_str(), 1, IgnoreError, nullptr);
    return state;
}

std::string Demangle(const char* name) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> demangled(
        abi::__cxa_demangle(name, nullptr, nullptr, &status), &std::free);
    return status == 0 && demangled ? demangled.get() : name;
}

struct Lookup {
    backtrace_state* state;
    StackTrace& trace;
    // Where the unwinder's tables say the frame's function starts; 0 when they do not know.
    std::uintptr_t functionStart;
};

struct Symbol {
    std::uintptr_t functionStart;
    std::string name;
};

// A COFF symbol table has no sizes: a function without a symbol of its own (a static one in a
// library built without debug information) would take the name of the symbol before it.
void KeepSymbol(void* data, std::uintptr_t, const char* name, std::uintptr_t start, std::uintptr_t) {
    auto& symbol = *static_cast<Symbol*>(data);
    if (name != nullptr && (symbol.functionStart == 0 || symbol.functionStart == start)) {
        symbol.name = Demangle(name);
    }
}

std::string SymbolName(const Lookup& lookup, std::uintptr_t address) {
    Symbol symbol{lookup.functionStart, {}};
    ::backtrace_syminfo(lookup.state, address, KeepSymbol, IgnoreError, &symbol);
    return symbol.name.empty() ? fmt::format("{:#x}", address) : symbol.name;
}

// Called once per frame, inlined calls included, innermost first.
int AppendFrame(void* data, std::uintptr_t address, const char* file, int line,
                const char* function) {
    auto& lookup = *static_cast<Lookup*>(data);
    auto description =
        function != nullptr ? Demangle(function) : SymbolName(lookup, address);
    lookup.trace.push_back({std::move(description), file != nullptr ? file : "",
                            static_cast<std::size_t>(line)});
    return 0;
}

void AppendFrames(Lookup& lookup, std::uintptr_t address) {
    const auto before = lookup.trace.size();
    if (const auto linked = detail::LinkTimeAddress(address)) {
        const auto start = reinterpret_cast<std::uintptr_t>(
            ::_Unwind_FindEnclosingFunction(reinterpret_cast<void*>(address)));
        lookup.functionStart = start != 0 ? detail::LinkTimeAddress(start).value_or(0) : 0;
        ::backtrace_pcinfo(lookup.state, *linked, AppendFrame, IgnoreError, &lookup);
    }
    // Outside the debug information, or unreadable: the address alone.
    if (lookup.trace.size() == before) {
        lookup.trace.push_back({fmt::format("{:#x}", address), "", 0});
    }
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
    Lookup lookup{SharedState(), trace, 0};
    if (lookup.state == nullptr) {
        return trace;
    }
    for (const auto address : stack) {
        AppendFrames(lookup, address);
    }
    return trace;
}

}  // namespace detail

}  // namespace Shared::Exception
