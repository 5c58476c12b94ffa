#pragma once
// A manual- or auto-reset event, unnamed or named. A named event can be signalled from another
// process; on Linux it is a FIFO in $HOPR_EVENT_DIR (default /run/hopr) and writing one byte to
// it signals it: `printf x > /run/hopr/NAME`.

#include <string>

#include "Shared/src/Raii/shared.raii-win32handle.hpp"

namespace Shared::Concurrency {

class Event {
public:
    // Opens the named event when `openExisting`, else creates it (or opens it when it exists).
    // Throws Win32Exception "Failed to create or open event {name}".
    explicit Event(bool manualReset = true, bool openExisting = false, std::wstring name = {});
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
    void InternalCreate(bool openExisting, const std::wstring& securityDescriptor);
    void Adopt(Shared::Raii::NativeHandle handle);

    Shared::Raii::Win32Handle handle_;
    bool manualReset_;
    std::wstring name_;
    std::string createdPath_;  // the FIFO this object made, removed with it
};

}  // namespace Shared::Concurrency
