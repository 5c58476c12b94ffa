#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Shared/src/WinSock/shared.winsock-wine.hpp"
#include "support/captured_log.hpp"

namespace {

using Shared::WinSock::KnownRefusals;
using Shared::WinSock::WineGap;
using testing::HasSubstr;

constexpr std::uint32_t kNotSupported = 10045;   // WSAEOPNOTSUPP, Wine's answer to SIO_RCVALL
constexpr std::uint32_t kNoSuchOption = 10042;   // WSAENOPROTOOPT, Wine's answer to TCP_MAXRT

// On Windows every refusal stays a failure; under Wine only its own refusal of each gap is
// tolerated, and warned about once.
TEST(KnownRefusals, OnlyWinesOwnRefusalOfEachGapIsToleratedAndWarnedOnce) {
    CapturedLog log;
    KnownRefusals windows(false), wine(true);
    EXPECT_FALSE(windows.Tolerate(WineGap::ReceiveAll, kNotSupported));
    EXPECT_FALSE(windows.Tolerate(WineGap::RetryTimeout, kNoSuchOption));
    EXPECT_FALSE(wine.Tolerate(WineGap::ReceiveAll, kNoSuchOption));
    EXPECT_FALSE(wine.Tolerate(WineGap::RetryTimeout, 10013));  // access denied is a failure
    EXPECT_EQ(log.Text(), "");
    for (int twice = 0; twice < 2; ++twice) {
        EXPECT_TRUE(wine.Tolerate(WineGap::ReceiveAll, kNotSupported));
        EXPECT_TRUE(wine.Tolerate(WineGap::RetryTimeout, kNoSuchOption));
    }
    const auto text = log.Text();
    EXPECT_THAT(text, HasSubstr("warning Wine refuses receive-all mode (error code 0X273D)"));
    EXPECT_THAT(text, HasSubstr("warning Wine refuses TCP_MAXRT (error code 0X273A)"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
}

}  // namespace
