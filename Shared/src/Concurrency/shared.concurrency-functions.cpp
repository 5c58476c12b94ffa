#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"

namespace Shared::Concurrency {

using Shared::Exception::InvalidArgument;

unsigned long MillisecondsUntil(std::chrono::steady_clock::time_point deadline) {
    const auto now = std::chrono::steady_clock::now();
    if (deadline <= now) {
        return 0;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count();
    return static_cast<unsigned long>(std::min<std::int64_t>(left, kInfinite - 1));
}

bool WaitFor(NativeHandle handle, unsigned long timeoutMs, bool alertable) {
    if (!Shared::Raii::IsValidHandle(handle)) {
        throw InvalidArgument("Handle is nullptr");
    }
    const auto result = detail::WaitMany({handle}, false, timeoutMs, alertable, "WaitForSingleObjectEx() failed");
    if (result == kWaitAbandoned0) {
        throw Shared::Exception::RuntimeError("The wait was abandoned");
    }
    return result == kWaitObject0;
}

unsigned long WaitFor(const std::vector<NativeHandle>& handles, bool waitAll,
                      unsigned long timeoutMs, bool alertable) {
    if (handles.empty()) {
        throw InvalidArgument("handles is empty");
    }
    if (handles.size() > kMaximumWaitObjects) {
        throw InvalidArgument(fmt::format("Too many handles to wait on: {}", handles.size()));
    }
    if (std::any_of(handles.begin(), handles.end(),
                    [](NativeHandle h) { return !Shared::Raii::IsValidHandle(h); })) {
        throw InvalidArgument("Cannot wait on null handle");
    }
    const auto result = detail::WaitMany(handles, waitAll, timeoutMs, alertable,
                                         "WaitForSingleObjectEx() failed");
    if (result == kWaitAbandoned0) {
        throw Shared::Exception::RuntimeError("The wait was abandoned");
    }
    return result;
}

}  // namespace Shared::Concurrency
