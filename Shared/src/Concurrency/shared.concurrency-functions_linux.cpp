// Waits are poll() over descriptors: eventfd for events, timerfd for timers, FIFOs for named
// events. Readable, in error or hung up means signalled. The first readable descriptor in index order wins; if it is
// auto-reset, the waiter consumes it by draining it, and a waiter that finds it already drained
// by another thread lost the race and polls again.

#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <limits>
#include <mutex>
#include <unordered_set>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"

namespace Shared::Concurrency::detail {
namespace {

struct AutoResetRegistry {
    std::mutex mutex;
    std::unordered_set<NativeHandle> handles;
};

// Never destroyed: an abandoned look-up's thread may release its event after main has returned.
AutoResetRegistry& AutoResets() {
    static auto* registry = new AutoResetRegistry;
    return *registry;
}

bool IsAutoReset(NativeHandle handle) {
    auto& registry = AutoResets();
    std::lock_guard lock(registry.mutex);
    return registry.handles.contains(handle);
}

// Non-blocking drain; true when there was a signal to take.
bool Consume(NativeHandle handle) {
    bool took = false;
    std::uint64_t sink = 0;
    while (::read(handle, &sink, sizeof sink) > 0) {
        took = true;
    }
    return took;
}

int RemainingMs(std::chrono::steady_clock::time_point deadline, unsigned long timeoutMs) {
    if (timeoutMs == kInfinite) {
        return -1;
    }
    return static_cast<int>(
        std::min<unsigned long>(MillisecondsUntil(deadline), std::numeric_limits<int>::max()));
}

}  // namespace

void RegisterAutoReset(NativeHandle handle) {
    auto& registry = AutoResets();
    std::lock_guard lock(registry.mutex);
    registry.handles.insert(handle);
}

void UnregisterAutoReset(NativeHandle handle) {
    auto& registry = AutoResets();
    std::lock_guard lock(registry.mutex);
    registry.handles.erase(handle);
}

// Nothing is queued to threads here, so an alertable wait is an ordinary one. Waiting for all
// objects at once has no atomic equivalent over descriptors, and nothing here needs it.
unsigned long WaitMany(const std::vector<NativeHandle>& handles, bool waitAll,
                       unsigned long timeoutMs, bool /*alertable*/, const char* failureText) {
    if (waitAll) {
        throw Shared::Exception::InvalidArgument("Waiting for all handles at once is not supported");
    }
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(timeoutMs == kInfinite ? 0 : timeoutMs);
    std::vector<pollfd> fds(handles.size());
    for (;;) {
        for (std::size_t i = 0; i < handles.size(); ++i) {
            fds[i] = pollfd{handles[i], POLLIN, 0};
        }
        const int ready = ::poll(fds.data(), fds.size(), RemainingMs(deadline, timeoutMs));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready < 0) {
            throw Shared::Exception::Win32Exception(failureText, static_cast<std::uint32_t>(errno));
        }
        if (ready == 0) {
            return kWaitTimeout;
        }
        for (std::size_t i = 0; i < fds.size(); ++i) {
            if (fds[i].revents & POLLNVAL) {
                throw Shared::Exception::Win32Exception(failureText, EBADF);
            }
            // An error or hang-up stays reported however often one polls: counted as signalled,
            // it is left to the waiter's next read to report (a pipe's end, a socket's error).
            const bool broken = fds[i].revents & (POLLERR | POLLHUP);
            if (broken || ((fds[i].revents & POLLIN) &&
                           (!IsAutoReset(handles[i]) || Consume(handles[i])))) {
                return kWaitObject0 + static_cast<unsigned long>(i);
            }
        }
    }
}

}  // namespace Shared::Concurrency::detail
