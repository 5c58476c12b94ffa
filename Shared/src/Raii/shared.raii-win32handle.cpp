#include "Shared/src/Raii/shared.raii-win32handle.hpp"

namespace Shared::Raii {

Win32Handle::Win32Handle(const Win32Handle& other)
    : handle_(DuplicatePassedHandle(other.handle_, other.IsValid() && other.IsInheritable())) {}

Win32Handle& Win32Handle::operator=(const Win32Handle& other) {
    if (this != &other) {
        Close();
        handle_ =
            DuplicatePassedHandle(other.handle_, other.IsValid() && other.IsInheritable());
    }
    return *this;
}

Win32Handle& Win32Handle::operator=(Win32Handle&& other) noexcept {
    if (this != &other) {
        Close();
        handle_ = other.Release();
    }
    return *this;
}

NativeHandle Win32Handle::Release() noexcept {
    const auto released = handle_;
    handle_ = kNullHandle;
    return released;
}

}  // namespace Shared::Raii
