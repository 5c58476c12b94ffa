#include "Shared/src/Concurrency/shared.concurrency-waitabletimer.hpp"

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

namespace Shared::Concurrency {

void WaitableTimer::InternalCreateTimer(bool manualReset, bool /*named*/) {
    const HANDLE timer = ::CreateWaitableTimerW(nullptr, manualReset ? TRUE : FALSE, nullptr);
    if (timer == nullptr) {
        const auto error = static_cast<std::uint32_t>(::GetLastError());
        throw Shared::Exception::Win32Exception("Failed to create waitable timer", error);
    }
    handle_ = Shared::Raii::Win32Handle(timer);
}

void WaitableTimer::InternalSetTimer(std::int64_t ms, std::uint32_t periodMs) {
    LARGE_INTEGER dueTime{};
    dueTime.QuadPart = ms * -10000;  // 100 ns units; negative means relative to now
    if (!::SetWaitableTimer(handle_.Get(), &dueTime, static_cast<LONG>(periodMs), nullptr,
                            nullptr, FALSE)) {
        const auto error = static_cast<std::uint32_t>(::GetLastError());
        throw Shared::Exception::Win32Exception("Failed to set timer", error);
    }
}

bool WaitableTimer::CancelTimer() {
    if (!handle_.IsValid()) {
        throw Shared::Exception::RuntimeError("No timer to cancel");
    }
    return ::CancelWaitableTimer(handle_.Get()) != FALSE;
}

}  // namespace Shared::Concurrency
