#include "Shared/src/Raii/shared.raii-win32handle.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"

namespace Shared::Raii {

bool IsValidHandle(NativeHandle handle) noexcept {
    return handle >= 0;
}

void Win32Handle::Close() noexcept {
    if (IsValid() && ::close(handle_) != 0) {
        Shared::Exception::ReportHandleCloseFailure(static_cast<std::uint32_t>(errno));
    }
    handle_ = kNullHandle;
}

void Win32Handle::SetInheritability(bool inheritable) {
    if (!IsValid()) {
        throw Shared::Exception::RuntimeError("Handle is null or invalid.");
    }
    // Inheritable across exec is the close-on-exec flag inverted.
    if (::fcntl(handle_, F_SETFD, inheritable ? 0 : FD_CLOEXEC) != 0) {
        throw Shared::Exception::Win32Exception("SetHandleInformation() failed",
                                                static_cast<std::uint32_t>(errno));
    }
}

bool Win32Handle::HandleIsInheritable(NativeHandle handle) {
    const int flags = ::fcntl(handle, F_GETFD);
    if (flags < 0) {
        throw Shared::Exception::Win32Exception("GetHandleInformation() failed",
                                                static_cast<std::uint32_t>(errno));
    }
    return (flags & FD_CLOEXEC) == 0;
}

NativeHandle Win32Handle::DuplicatePassedHandle(NativeHandle handle, bool inheritable) {
    if (!IsValidHandle(handle)) {
        return handle;
    }
    const int duplicate = ::fcntl(handle, inheritable ? F_DUPFD : F_DUPFD_CLOEXEC, 0);
    if (duplicate < 0) {
        throw Shared::Exception::Win32Exception("DuplicateHandle() failed",
                                                static_cast<std::uint32_t>(errno));
    }
    return duplicate;
}

}  // namespace Shared::Raii
