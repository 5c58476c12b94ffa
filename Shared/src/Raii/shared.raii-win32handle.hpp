#pragma once
// An owned kernel handle: a HANDLE on Windows, a file descriptor on Linux. Both null and the
// all-ones value count as "no handle".

#include <cstdint>

namespace Shared::Raii {

#if defined(_WIN32)
using NativeHandle = void*;
inline NativeHandle const kNullHandle = nullptr;
#else
using NativeHandle = int;
inline constexpr NativeHandle kNullHandle = -1;
#endif

bool IsValidHandle(NativeHandle handle) noexcept;

class Win32Handle {
public:
    Win32Handle() = default;
    explicit Win32Handle(NativeHandle handle) noexcept : handle_(handle) {}
    virtual ~Win32Handle() { Close(); }

    // Duplicates the other's handle, keeping the other's inheritability.
    Win32Handle(const Win32Handle& other);
    Win32Handle& operator=(const Win32Handle& other);
    Win32Handle(Win32Handle&& other) noexcept : handle_(other.Release()) {}
    Win32Handle& operator=(Win32Handle&& other) noexcept;

    // A failed close is reported on standard error, never thrown.
    virtual void Close() noexcept;
    virtual void SetInheritability(bool inheritable);
    virtual NativeHandle Release() noexcept;
    virtual bool IsValid() const noexcept { return IsValidHandle(handle_); }
    virtual NativeHandle Get() const noexcept { return handle_; }
    virtual bool IsInheritable() const { return HandleIsInheritable(handle_); }

    static bool HandleIsInheritable(NativeHandle handle);
    // Null and the all-ones value come back unchanged; anything else is duplicated.
    static NativeHandle DuplicatePassedHandle(NativeHandle handle, bool inheritable);

private:
    NativeHandle handle_ = kNullHandle;
};

}  // namespace Shared::Raii
