#include "Shared/src/Concurrency/shared.concurrency-termination.hpp"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"

namespace Shared::Concurrency {
namespace {

std::atomic<int> terminationDescriptor{-1};
static_assert(std::atomic<int>::is_always_lock_free);

// Signalling an unnamed event is one write to its eventfd, which a handler may do.
extern "C" void OnTerminate(int) {
    const int saved = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(terminationDescriptor.load(), &one, sizeof one);
    errno = saved;
}

}  // namespace

void WatchTermination() {
    terminationDescriptor = TerminationEvent().Handle();
    struct sigaction action {};
    action.sa_handler = OnTerminate;
    sigemptyset(&action.sa_mask);
    // Restarted calls: a write of the results is never cut short by the request.
    action.sa_flags = SA_RESTART;
    if (::sigaction(SIGTERM, &action, nullptr) != 0) {
        throw Shared::Exception::Win32Exception("sigaction() failed",
                                                static_cast<std::uint32_t>(errno));
    }
}

}  // namespace Shared::Concurrency
