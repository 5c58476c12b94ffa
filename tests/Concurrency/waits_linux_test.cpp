#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Raii/shared.raii-win32handle.hpp"

namespace {

using namespace Shared::Concurrency;

// A descriptor that reports only hang-up (a pipe's read end) or error (its write end) once made
// the wait poll again at once, for ever.
TEST(WaitsLinux, AHungUpOrFailedDescriptorCountsAsSignalled) {
    for (const int kept : {0, 1}) {
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
        ::close(ends[1 - kept]);
        const Shared::Raii::Win32Handle handle(ends[kept]);
        EXPECT_EQ(WaitFor({handle.Get()}, false, 1000, false), kWaitObject0) << kept;
    }
}

}  // namespace
