// GetAddrInfoExW runs the lookup asynchronously and calls the completion routine with the
// OVERLAPPED block; the block sits first in a plain struct that also points at the context, so
// the routine finds its way back.

#include "Shared/src/System/shared.system-hostresolver.hpp"

#include <mutex>
#include <type_traits>

#include <fmt/format.h>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Concurrency/shared.concurrency-termination.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-errortext.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::System {
namespace {

constexpr std::size_t kAddressTextLength = 256;

std::mutex gResolveMutex;

struct QueryContext;

struct Completion {
    OVERLAPPED overlapped{};
    QueryContext* context = nullptr;
};
static_assert(std::is_standard_layout_v<Completion>);

struct QueryContext {
    Completion completion{{}, this};
    Shared::Concurrency::Event done{true};
    std::uint32_t error = 0;
    std::vector<std::wstring> addresses;
    ADDRINFOEXW* result = nullptr;
    HANDLE cancel = nullptr;
};

// mingw's headers do not declare it; ws2_32 exports it from Windows 8 on.
INT CancelLookup(HANDLE* cancel) {
    using Cancel = INT(WSAAPI*)(LPHANDLE);
    static const auto function = reinterpret_cast<Cancel>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"ws2_32.dll"), "GetAddrInfoExCancel")));
    return function != nullptr ? function(cancel) : WSA_INVALID_HANDLE;
}

std::wstring AddressText(const ADDRINFOEXW& entry) {
    wchar_t text[kAddressTextLength] = {};
    DWORD length = kAddressTextLength;
    if (::WSAAddressToStringW(entry.ai_addr, static_cast<DWORD>(entry.ai_addrlen), nullptr, text,
                              &length) != 0) {
        return {};
    }
    return text;
}

void CALLBACK QueryCompleteCallback(DWORD error, DWORD /*bytes*/, LPWSAOVERLAPPED overlapped) {
    auto& context = *reinterpret_cast<Completion*>(overlapped)->context;
    if (error != 0) {
        // Before the signal: after it, the caller may be gone, and the logger with it.
        Log::GuardedLog::Error("QueryCompleteCallback() failed: {}",
                               Shared::Exception::TranslateSystemError(error));
        context.error = error;
        context.done.Signal();
        return;
    }
    std::vector<std::wstring> addresses;
    // mingw spells the type of ai_next differently from ADDRINFOEXW; it is the same struct.
    for (const auto* entry = context.result; entry != nullptr;
         entry = reinterpret_cast<const ADDRINFOEXW*>(entry->ai_next)) {
        addresses.push_back(AddressText(*entry));
    }
    context.addresses = std::move(addresses);
    context.error = 0;
    context.done.Signal();
}

struct ResultRelease {
    QueryContext& context;
    ~ResultRelease() {
        if (context.result != nullptr) {
            ::FreeAddrInfoExW(context.result);
        }
    }
};

}  // namespace

std::vector<std::wstring> HostResolver::Resolve(const std::wstring& hostName,
                                                std::uint32_t timeoutMs) {
    std::lock_guard lock(gResolveMutex);
    const auto name = Shared::Util::ConvertErrorString(hostName);
    QueryContext context;
    const ResultRelease release{context};
    ADDRINFOEXW hints{};
    hints.ai_family = AF_INET;
    const INT started =
        ::GetAddrInfoExW(hostName.c_str(), nullptr, NS_DNS, nullptr, &hints, &context.result,
                         nullptr, &context.completion.overlapped,
                         reinterpret_cast<void*>(&QueryCompleteCallback), &context.cancel);
    if (started != WSA_IO_PENDING) {
        // Finished at once: a failure here leaves the list empty instead of throwing.
        QueryCompleteCallback(static_cast<DWORD>(started), 0, &context.completion.overlapped);
        return context.addresses;
    }
    const auto ended = Shared::Concurrency::WaitFor(
        {context.done.Handle(), Shared::Concurrency::TerminationEvent().Handle()}, false,
        timeoutMs, false);
    if (ended != Shared::Concurrency::kWaitObject0) {
        CancelLookup(&context.cancel);
        context.done.WaitOnEvent();
        throw Shared::Exception::RuntimeError(detail::UnfinishedMessage(
            name, timeoutMs, ended != Shared::Concurrency::kWaitTimeout));
    }
    if (context.error != 0) {
        throw Shared::Exception::RuntimeError(
            fmt::format("Failed to resolve address for host name \"{}\" with error: {}", name,
                        Shared::Exception::TranslateSystemError(context.error)));
    }
    return context.addresses;
}

}  // namespace Shared::System
