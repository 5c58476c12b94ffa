// Addresses from RtlCaptureStackBackTrace at the throw; names and lines from DbgHelp when the
// text is rendered. DbgHelp is single-threaded (lookups take turns) and its symbols are loaded
// once, by the first lookup.

#include "Shared/src/Exception/shared.exception-stacktrace.hpp"

#include <algorithm>
#include <cstring>

#include <fmt/format.h>

#include "Shared/src/Util/shared.util-windows.hpp"

#include <dbghelp.h>

namespace Shared::Exception {
namespace {

constexpr ULONG kMaximumFrames = 62;  // the capture call's own limit
constexpr DWORD kMaximumNameLength = 1024;

bool SymbolsReady() {
    static const bool ready = [] {
        ::SymSetOptions(SYMOPT_UNDNAME | SYMOPT_DEFERRED_LOADS | SYMOPT_LOAD_LINES);
        return ::SymInitialize(::GetCurrentProcess(), nullptr, TRUE) != FALSE;
    }();
    return ready;
}

// NameLen is the symbol's full length, which can exceed the buffer for long template names.
std::string NameOf(const SYMBOL_INFO& symbol) {
    const auto stored = ::strnlen(symbol.Name, symbol.MaxNameLen);
    return std::string(symbol.Name, std::min<std::size_t>(symbol.NameLen, stored));
}

StackFrame Describe(HANDLE process, DWORD64 address) {
    alignas(SYMBOL_INFO) char storage[sizeof(SYMBOL_INFO) + kMaximumNameLength] = {};
    auto* symbol = reinterpret_cast<SYMBOL_INFO*>(storage);
    symbol->SizeOfStruct = sizeof(SYMBOL_INFO);
    symbol->MaxNameLen = kMaximumNameLength;
    DWORD64 displacement = 0;
    StackFrame frame;
    frame.description = ::SymFromAddr(process, address, &displacement, symbol)
                            ? NameOf(*symbol)
                            : fmt::format("{:#x}", address);
    IMAGEHLP_LINE64 line{};
    line.SizeOfStruct = sizeof line;
    DWORD lineDisplacement = 0;
    if (::SymGetLineFromAddr64(process, address, &lineDisplacement, &line) &&
        line.FileName != nullptr) {
        frame.sourceFile = line.FileName;
        frame.sourceLine = line.LineNumber;
    }
    return frame;
}

}  // namespace

[[gnu::noinline]] CapturedStack CaptureStack() noexcept {
    void* addresses[kMaximumFrames] = {};
    const USHORT count = ::RtlCaptureStackBackTrace(1, kMaximumFrames, addresses, nullptr);
    CapturedStack stack;
    try {
        stack.reserve(count);
        for (USHORT i = 0; i < count; ++i) {
            stack.push_back(reinterpret_cast<std::uintptr_t>(addresses[i]));
        }
    } catch (...) {
        // A trace is a courtesy; an exception must still be constructible without one.
    }
    return stack;
}

namespace detail {

StackTrace LookUpFrames(const CapturedStack& stack) {
    StackTrace trace;
    if (!SymbolsReady()) {
        return trace;
    }
    const HANDLE process = ::GetCurrentProcess();
    for (const auto address : stack) {
        trace.push_back(Describe(process, address));
    }
    return trace;
}

}  // namespace detail

}  // namespace Shared::Exception
