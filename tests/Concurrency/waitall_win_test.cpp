#include <gtest/gtest.h>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"

namespace {

using namespace Shared::Concurrency;

TEST(Waits, WaitAllNeedsEveryObjectAndConsumesAllAutoResetOnes) {
    Event manual;
    Event automatic(false);
    const std::vector<NativeHandle> both{manual.Handle(), automatic.Handle()};
    manual.Signal();
    EXPECT_EQ(WaitFor(both, true, 0, false), kWaitTimeout);
    automatic.Signal();
    EXPECT_EQ(WaitFor(both, true, 0, false), kWaitObject0);
    EXPECT_FALSE(automatic.WaitOnEvent(0, false));  // taken by the wait-all
    EXPECT_TRUE(manual.WaitOnEvent(0, false));
}

}  // namespace
