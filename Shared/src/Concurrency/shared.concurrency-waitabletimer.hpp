#pragma once
// A one-shot (or periodic) timer that can be waited on like an event; auto-reset.

#include <cstdint>

#include "Shared/src/Raii/shared.raii-win32handle.hpp"

namespace Shared::Concurrency {

class WaitableTimer {
public:
    // Throws Win32Exception "Failed to create waitable timer".
    WaitableTimer();
    ~WaitableTimer();
    WaitableTimer(WaitableTimer&&) noexcept = default;
    WaitableTimer& operator=(WaitableTimer&&) = delete;

    // Fires `ms` milliseconds from now (0 or less: at once), then every `periodMs` when non-zero.
    void SetTimerInMillis(std::int64_t ms, std::uint32_t periodMs);
    bool CancelTimer();

    Shared::Raii::NativeHandle Handle() const noexcept { return handle_.Get(); }

private:
    void InternalCreateTimer(bool manualReset, bool named);
    void InternalSetTimer(std::int64_t ms, std::uint32_t periodMs);

    Shared::Raii::Win32Handle handle_;
};

}  // namespace Shared::Concurrency
