// The Windows socket layer's own failures; the lab runs under Wine prove the probe path itself.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"
#include "support/thrown.hpp"

namespace {

using Shared::WinSock::ConnectOutcome;
using Shared::WinSock::Socket;
using Shared::WinSock::WinSockException;
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

TEST(WinSock, FailuresCarryTheSocketLayersCodes) {
    Shared::WinSock::WinSockInitialiser winsock;
    winsock.Initialise();
    Socket refused(L"127.0.0.1", ClosedPort());
    refused.Open();
    const auto outcome = refused.TryConnect(0, 0);
    EXPECT_EQ(outcome.status, ConnectOutcome::Status::Failed);
    EXPECT_EQ(outcome.error, 10061u);
    refused.Open();
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
}

}  // namespace
