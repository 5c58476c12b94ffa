// What the lab runs under Wine cannot see: the raw listener's receive buffer, which a flood of
// answers would otherwise overrun.

#include <gtest/gtest.h>

#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"

namespace {

using namespace Shared::WinSock;

TEST(IcmpListenerWin, RawSocketAsksForTheLargerReceiveBuffer) {
    WinSockInitialiser winsock;
    winsock.Initialise();
    auto& calls = PlatformCalls();
    const auto raw = calls.OpenRawIcmp();
    ASSERT_TRUE(IsValidSocket(raw));
    int before = 0;
    int length = sizeof before;
    ::getsockopt(raw, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<char*>(&before), &length);
    calls.EnlargeReceiveBuffer(raw);
    int after = 0;
    ::getsockopt(raw, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<char*>(&after), &length);
    calls.Close(raw);
    EXPECT_EQ(after, 8 << 20) << "was " << before;
}

}  // namespace
