#pragma once
// A manual- or auto-reset event, unnamed or named. A named event can be signalled from another
// process; on Linux it is a FIFO in $HOPR_EVENT_DIR (default /run/hopr) and writing one byte to
// it signals it, without creating a file when no run is waiting:
// `printf x | dd of=/run/hopr/NAME oflag=nonblock conv=nocreat,notrunc status=none`.
// Creating one replaces whatever else stands at its path (a file `printf x > …` left).

#include <string>

#include "Shared/src/Raii/shared.raii-win32handle.hpp"

namespace Shared::Concurrency {

// Rights on a Windows event: every one, or waiting only.
inline constexpr unsigned long kEventAllAccess = 0x001F0003;
inline constexpr unsigned long kSynchronizeAccess = 0x00100000;

class Event {
public:
    // Opens the named event when `openExisting`, for waiting only; else creates it, or opens it
    // when it exists, with `access`. An event another party owns may grant no more than
    // kSynchronizeAccess, and asking for more then fails (Linux has no rights to ask for).
    // Throws Win32Exception "Failed to create or open event {name}".
    explicit Event(bool manualReset = true, bool openExisting = false, std::wstring name = {},
                   unsigned long access = kEventAllAccess);
    ~Event();
    Event(const Event& other);
    Event& operator=(const Event& other);

    void WaitOnEvent();
    // True when signalled, false when the time ran out.
    bool WaitOnEvent(unsigned long timeoutMs, bool alertable);
    void Signal();
    void Reset();

    Shared::Raii::NativeHandle Handle() const noexcept { return handle_.Get(); }
    bool IsManualReset() const noexcept { return manualReset_; }
    const std::wstring& Name() const noexcept { return name_; }

    // The file a named event lives in: unsafe characters are percent-encoded, never rejected.
    static std::string PathForName(const std::wstring& name);

private:
    void InternalCreate(bool openExisting, unsigned long access,
                        const std::wstring& securityDescriptor);
    void Adopt(Shared::Raii::NativeHandle handle);

    Shared::Raii::Win32Handle handle_;
    bool manualReset_;
    std::wstring name_;
    std::string createdPath_;  // the FIFO this object made, removed with it
};

}  // namespace Shared::Concurrency
