// Frames from RtlCaptureStackBackTrace, named through DbgHelp. DbgHelp is single-threaded, so
// one walk runs at a time; symbols are loaded once for the process.

#include "Shared/src/Exception/shared.exception-stacktrace.hpp"

#include <mutex>

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

StackFrame Describe(HANDLE process, DWORD64 address) {
    alignas(SYMBOL_INFO) char storage[sizeof(SYMBOL_INFO) + kMaximumNameLength] = {};
    auto* symbol = reinterpret_cast<SYMBOL_INFO*>(storage);
    symbol->SizeOfStruct = sizeof(SYMBOL_INFO);
    symbol->MaxNameLen = kMaximumNameLength;
    DWORD64 displacement = 0;
    StackFrame frame;
    frame.description = ::SymFromAddr(process, address, &displacement, symbol)
                            ? std::string(symbol->Name, symbol->NameLen)
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

StackTrace CaptureStackTrace() {
    static std::mutex walking;
    StackTrace trace;
    try {
        void* addresses[kMaximumFrames] = {};
        const USHORT count = ::RtlCaptureStackBackTrace(1, kMaximumFrames, addresses, nullptr);
        std::lock_guard lock(walking);
        if (!SymbolsReady()) {
            return trace;
        }
        const HANDLE process = ::GetCurrentProcess();
        for (USHORT i = 0; i < count; ++i) {
            trace.push_back(Describe(process, reinterpret_cast<DWORD64>(addresses[i])));
        }
    } catch (...) {
        // A trace is a courtesy; an exception must still be constructible without one.
    }
    return trace;
}

}  // namespace Shared::Exception
