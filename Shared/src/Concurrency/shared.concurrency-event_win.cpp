#include "Shared/src/Concurrency/shared.concurrency-event.hpp"

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

#include <sddl.h>

namespace Shared::Concurrency {
namespace {

// The code is read before the throw allocates the exception, which may overwrite it.
[[noreturn]] void ThrowLastError(const char* message) {
    const auto error = static_cast<std::uint32_t>(::GetLastError());
    throw Shared::Exception::Win32Exception(message, error);
}

}  // namespace

void Event::InternalCreate(bool openExisting, unsigned long access,
                           const std::wstring& securityDescriptor) {
    const wchar_t* name = name_.empty() ? nullptr : name_.c_str();
    if (openExisting) {
        // Waiting is all an opened event is for: the owner signals and resets it.
        const HANDLE handle = ::OpenEventW(SYNCHRONIZE, FALSE, name);
        if (handle == nullptr) {
            ThrowLastError("Failed to create or open event");
        }
        Adopt(handle);
        return;
    }
    SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
    if (!securityDescriptor.empty() &&
        !::ConvertStringSecurityDescriptorToSecurityDescriptorW(
            securityDescriptor.c_str(), SDDL_REVISION_1, &attributes.lpSecurityDescriptor,
            nullptr)) {
        ThrowLastError("Failed to convert security descriptor");
    }
    // One call creates the event or opens the existing one, with the same rights either way:
    // no window between a failed open and the creation in which another party creates it.
    const HANDLE handle = ::CreateEventExW(&attributes, name,
                                           manualReset_ ? CREATE_EVENT_MANUAL_RESET : 0, access);
    const DWORD error = ::GetLastError();
    ::LocalFree(attributes.lpSecurityDescriptor);
    if (handle == nullptr) {
        throw Shared::Exception::Win32Exception("Failed to create or open event", error);
    }
    Adopt(handle);
}

Event::~Event() {
    handle_.Close();
}

void Event::Signal() {
    if (!handle_.IsValid()) {
        throw Shared::Exception::RuntimeError("No Event to signal");
    }
    if (!::SetEvent(handle_.Get())) {
        ThrowLastError("Failed to signal event");
    }
}

void Event::Reset() {
    if (!handle_.IsValid()) {
        throw Shared::Exception::RuntimeError("No Event to reset");
    }
    if (!::ResetEvent(handle_.Get())) {
        ThrowLastError("ResetEvent() failed");
    }
}

}  // namespace Shared::Concurrency
