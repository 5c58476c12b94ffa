#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"

namespace {

using namespace Shared::WinSock;
using testing::HasSubstr;

// A time-exceeded message quoting a TCP probe from port 33000 to 127.0.0.1:80.
std::vector<std::uint8_t> TimeExceeded() {
    std::vector<std::uint8_t> icmp(8 + 20 + 8, 0);
    icmp[0] = 11;
    icmp[8] = 0x45;
    icmp[8 + 9] = IPPROTO_TCP;
    icmp[8 + 16] = 127, icmp[8 + 19] = 1;
    icmp[28] = 0x80, icmp[29] = 0xE8;
    icmp[31] = 80;
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < icmp.size(); i += 2) {
        sum += (icmp[i] << 8) | icmp[i + 1];
    }
    sum = (sum & 0xFFFF) + (sum >> 16);
    const auto checksum = static_cast<std::uint16_t>(~(sum + (sum >> 16)));
    icmp[2] = static_cast<std::uint8_t>(checksum >> 8), icmp[3] = static_cast<std::uint8_t>(checksum);
    return icmp;
}

void SendToLoopback(const std::vector<std::uint8_t>& icmp) {
    const SOCKET raw = ::socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    sockaddr_in loopback{};
    loopback.sin_family = AF_INET;
    loopback.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    ::sendto(raw, reinterpret_cast<const char*>(icmp.data()), static_cast<int>(icmp.size()), 0,
             reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback);
    ::closesocket(raw);
}

TEST(IcmpListenerWin, ReadsAnAnswerWhenItArrivesAndCloseEndsTheNextRead) {
    WinSockInitialiser winsock;
    winsock.Initialise();
    ICMPListener listener;
    listener.Bind(L"127.0.0.1");
    ICMPTCPResponse answer;
    std::string failure;
    std::thread reader([&] {
        try {
            answer = listener.ReadNextICMPResponse();
            listener.ReadNextICMPResponse();
        } catch (const std::exception& e) {
            failure = e.what();
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    SendToLoopback(TimeExceeded());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    listener.Close();
    reader.join();
    EXPECT_EQ(answer.from, ::htonl(INADDR_LOOPBACK));
    EXPECT_EQ(answer.originalDestination, ::htonl(INADDR_LOOPBACK));
    EXPECT_EQ(answer.sourcePort, 33000);
    EXPECT_EQ(answer.destinationPort, 80);
    EXPECT_THAT(failure, HasSubstr("recvfrom() failed"));
}

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
