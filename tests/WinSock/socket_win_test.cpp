// The Windows socket layer's own failures, and what the lab runs under Wine cannot see: the raw
// listener's receive buffer, and Windows itself, where none of Wine's refusals is tolerated.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"
#include "Shared/src/WinSock/shared.winsock-wine.hpp"
#include "support/captured_log.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::WinSock;
using testing::HasSubstr;

// A loopback port bound once and closed again: nobody accepts there.
std::uint16_t ClosedPort() {
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    ::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
    int length = sizeof address;
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    ::closesocket(socket);
    return ::ntohs(address.sin_port);
}

TEST(WinSock, FailuresCarryTheSocketLayersCodesAndTheRawSocketsBufferIsLarger) {
    WinSockInitialiser winsock;
    winsock.Initialise();
    Socket refused(L"127.0.0.1", ClosedPort());
    refused.Open();  // how a code becomes an outcome is the fake-backed tests'
    const auto connect = Thrown<WinSockException>([&] { refused.Connect(); });
    EXPECT_EQ(connect.Code(), 10061u);
    EXPECT_THAT(connect.what(), HasSubstr("connect() failed"));

    Socket never(L"127.0.0.1", 80);
    EXPECT_THAT(WhatOf<WinSockException>([&] { never.SetSocketTTL(3); }),
                HasSubstr("Not in a valid state to set TTL support"));
    never.Open();
    // Strict parsing wants all four parts.
    EXPECT_EQ(Thrown<Shared::Exception::NtStatusException>([&] { never.Bind(L"10.1", 0); }).Code(),
              0xC000000Du);

    auto& calls = PlatformCalls();
    const auto raw = calls.OpenRawIcmp();
    ASSERT_TRUE(IsValidSocket(raw));
    calls.EnlargeReceiveBuffer(raw);
    int size = 0;
    int length = sizeof size;
    ::getsockopt(raw, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<char*>(&size), &length);
    calls.Close(raw);
    EXPECT_EQ(size, 8 << 20);
}

// Under Wine only its own refusal of each gap is tolerated, and warned about once.
TEST(KnownRefusals, OnlyWinesOwnRefusalOfEachGapIsToleratedAndWarnedOnce) {
    constexpr std::uint32_t kNotSupported = 10045;  // WSAEOPNOTSUPP, Wine's answer to SIO_RCVALL
    constexpr std::uint32_t kNoSuchOption = 10042;  // WSAENOPROTOOPT, Wine's answer to TCP_MAXRT
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
