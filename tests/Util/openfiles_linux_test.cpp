#include <gtest/gtest.h>
#include <sys/resource.h>

#include "Shared/src/Util/shared.util-system.hpp"

namespace {

TEST(OpenFileLimit, TheSoftLimitRisesToTheHardLimit) {
    rlimit original{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &original), 0);
    if (original.rlim_max <= 64) {
        GTEST_SKIP() << "hard limit too low to lower the soft one";
    }
    rlimit lowered = original;
    lowered.rlim_cur = 64;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lowered), 0);
    Shared::Util::RaiseOpenFileLimit();
    rlimit raised{};
    ::getrlimit(RLIMIT_NOFILE, &raised);
    ::setrlimit(RLIMIT_NOFILE, &original);
    EXPECT_EQ(raised.rlim_cur, original.rlim_max);
}

}  // namespace
