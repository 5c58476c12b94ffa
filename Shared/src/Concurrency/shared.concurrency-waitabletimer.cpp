#include "Shared/src/Concurrency/shared.concurrency-waitabletimer.hpp"

#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"

namespace Shared::Concurrency {

WaitableTimer::WaitableTimer() {
    InternalCreateTimer(false, false);
}

WaitableTimer::~WaitableTimer() {
    detail::UnregisterAutoReset(handle_.Get());
}

void WaitableTimer::SetTimerInMillis(std::int64_t ms, std::uint32_t periodMs) {
    if (!handle_.IsValid()) {
        throw Shared::Exception::RuntimeError("Timer handle is null");
    }
    InternalSetTimer(ms, periodMs);
}

}  // namespace Shared::Concurrency
