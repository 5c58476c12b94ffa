#pragma once
// Waits on one or several kernel objects (events, timers, thread-end events).

#include <chrono>
#include <cstdint>
#include <vector>

#include "Shared/src/Raii/shared.raii-win32handle.hpp"

namespace Shared::Concurrency {

using Shared::Raii::NativeHandle;

inline constexpr unsigned long kInfinite = 0xFFFFFFFF;
inline constexpr unsigned long kWaitObject0 = 0;
inline constexpr unsigned long kWaitAbandoned0 = 128;
inline constexpr unsigned long kWaitIoCompletion = 192;
inline constexpr unsigned long kWaitTimeout = 258;
inline constexpr std::size_t kMaximumWaitObjects = 64;

// True when the object was signalled; false when the time ran out. An auto-reset object is
// consumed by the wait that returns true for it.
bool WaitFor(NativeHandle handle, unsigned long timeoutMs, bool alertable);

// The index of the signalled object (lowest index wins when several are), or kWaitTimeout.
// Only the winning object is consumed. At most 64 handles.
unsigned long WaitFor(const std::vector<NativeHandle>& handles, bool waitAll,
                      unsigned long timeoutMs, bool alertable);

// A time-out that ends at `deadline`: 0 once it has passed, never kInfinite.
unsigned long MillisecondsUntil(std::chrono::steady_clock::time_point deadline);

namespace detail {

// Objects whose successful wait consumes their signal (auto-reset events, timers). The
// platform back end needs to know them because a descriptor cannot tell by itself.
void RegisterAutoReset(NativeHandle handle);
void UnregisterAutoReset(NativeHandle handle);

// Returns the index of the first signalled object in index order (with `waitAll`, object 0
// once all are signalled), kWaitTimeout on time-out, kWaitIoCompletion when an alertable wait
// ran a queued completion routine. Errors carry `failureText`.
unsigned long WaitMany(const std::vector<NativeHandle>& handles, bool waitAll,
                       unsigned long timeoutMs, bool alertable, const char* failureText);

}  // namespace detail

}  // namespace Shared::Concurrency
