#include "Shared/src/Concurrency/shared.concurrency-waitabletimer.hpp"

#include <sys/timerfd.h>

#include <cerrno>

#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"

namespace Shared::Concurrency {
namespace {

timespec ToTimespec(std::int64_t ms) {
    return timespec{static_cast<time_t>(ms / 1000), static_cast<long>((ms % 1000) * 1000000)};
}

}  // namespace

void WaitableTimer::InternalCreateTimer(bool /*manualReset*/, bool /*named*/) {
    const int fd = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (fd < 0) {
        throw Shared::Exception::Win32Exception("Failed to create waitable timer",
                                                static_cast<std::uint32_t>(errno));
    }
    handle_ = Shared::Raii::Win32Handle(fd);
    detail::RegisterAutoReset(fd);
}

void WaitableTimer::InternalSetTimer(std::int64_t ms, std::uint32_t periodMs) {
    itimerspec setting{};
    setting.it_interval = ToTimespec(periodMs);
    // An all-zero value would disarm the timer; a due time of now must fire at once.
    setting.it_value = ms > 0 ? ToTimespec(ms) : timespec{0, 1};
    if (::timerfd_settime(handle_.Get(), 0, &setting, nullptr) != 0) {
        throw Shared::Exception::Win32Exception("Failed to set timer",
                                                static_cast<std::uint32_t>(errno));
    }
}

bool WaitableTimer::CancelTimer() {
    if (!handle_.IsValid()) {
        throw Shared::Exception::RuntimeError("No timer to cancel");
    }
    const itimerspec disarmed{};
    return ::timerfd_settime(handle_.Get(), 0, &disarmed, nullptr) == 0;
}

}  // namespace Shared::Concurrency
