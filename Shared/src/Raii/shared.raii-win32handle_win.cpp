#include "Shared/src/Raii/shared.raii-win32handle.hpp"

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

namespace Shared::Raii {
namespace {

std::uint32_t LastError() {
    return static_cast<std::uint32_t>(::GetLastError());
}

}  // namespace

bool IsValidHandle(NativeHandle handle) noexcept {
    return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

void Win32Handle::Close() noexcept {
    if (IsValid() && !::CloseHandle(handle_)) {
        Shared::Exception::ReportHandleCloseFailure(LastError());
    }
    handle_ = kNullHandle;
}

void Win32Handle::SetInheritability(bool inheritable) {
    if (!IsValid()) {
        throw Shared::Exception::RuntimeError("Handle is null or invalid.");
    }
    if (!::SetHandleInformation(handle_, HANDLE_FLAG_INHERIT, inheritable ? 1 : 0)) {
        const auto error = LastError();
        throw Shared::Exception::Win32Exception("SetHandleInformation() failed", error);
    }
}

bool Win32Handle::HandleIsInheritable(NativeHandle handle) {
    DWORD flags = 0;
    if (!::GetHandleInformation(handle, &flags)) {
        const auto error = LastError();
        throw Shared::Exception::Win32Exception("GetHandleInformation() failed", error);
    }
    return (flags & HANDLE_FLAG_INHERIT) != 0;
}

NativeHandle Win32Handle::DuplicatePassedHandle(NativeHandle handle, bool inheritable) {
    if (!IsValidHandle(handle)) {
        return handle;
    }
    HANDLE duplicate = nullptr;
    const HANDLE process = ::GetCurrentProcess();
    if (!::DuplicateHandle(process, handle, process, &duplicate, 0, inheritable,
                           DUPLICATE_SAME_ACCESS)) {
        const auto error = LastError();
        throw Shared::Exception::Win32Exception("DuplicateHandle() failed", error);
    }
    return duplicate;
}

}  // namespace Shared::Raii
