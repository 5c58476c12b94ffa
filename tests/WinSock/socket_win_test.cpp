#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"
#include "support/wine.hpp"

namespace {

using Shared::WinSock::Socket;
using Shared::WinSock::WinSockException;
using testing::HasSubstr;

// A loopback server socket with the system's choice of port.
class LoopbackServer {
public:
    LoopbackServer() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        ::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        int length = sizeof address;
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ::ntohs(address.sin_port);
    }
    ~LoopbackServer() { ::closesocket(socket_); }
    void Listen() { ::listen(socket_, 1); }
    SOCKET Accept() { return ::accept(socket_, nullptr, nullptr); }
    std::uint16_t Port() const { return port_; }

private:
    SOCKET socket_ = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    std::uint16_t port_ = 0;
};

class WinSockTest : public testing::Test {
protected:
    void SetUp() override { winsock_.Initialise(); }
    Shared::WinSock::WinSockInitialiser winsock_;
};

TEST_F(WinSockTest, ConnectsWithATtlFromTheBoundAddressAndExchangesBytes) {
    LoopbackServer server;
    server.Listen();
    Socket socket(L"127.0.0.1", server.Port());
    socket.Open();
    socket.Bind(L"127.0.0.1", 0);
    socket.Connect(64, 0);  // no retry bound: that option is left alone
    EXPECT_NE(socket.GetLocalPort(), 0u);
    const SOCKET peer = server.Accept();
    socket.Send({'h', 'i'});
    char received[2] = {};
    EXPECT_EQ(::recv(peer, received, 2, 0), 2);
    ::send(peer, "ok", 2, 0);
    ::closesocket(peer);
    EXPECT_EQ(socket.Receive(16), (std::vector<std::uint8_t>{'o', 'k'}));
    EXPECT_TRUE(socket.Receive(16).empty());  // orderly close
}

TEST_F(WinSockTest, FailuresCarryTheSocketLayersCodes) {
    std::uint16_t closedPort = 0;
    {
        LoopbackServer unused;  // bound, never listening: a port nobody accepts on
        closedPort = unused.Port();
    }
    Socket refused(L"127.0.0.1", closedPort);
    refused.Open();
    try {
        refused.Connect();
        ADD_FAILURE();
    } catch (const WinSockException& e) {
        EXPECT_EQ(e.Code(), 10061u);
        EXPECT_THAT(e.what(), HasSubstr("connect() failed"));
    }

    Socket never(L"127.0.0.1", 80);
    try {
        never.SetSocketTTL(3);
        ADD_FAILURE();
    } catch (const WinSockException& e) {
        EXPECT_THAT(e.what(), HasSubstr("Not in a valid state to set TTL support"));
    }

    never.Open();
    try {
        never.Bind(L"10.1", 0);  // strict parsing wants all four parts
        ADD_FAILURE();
    } catch (const Shared::Exception::NtStatusException& e) {
        EXPECT_EQ(e.Code(), 0xC000000Du);
    }
}

TEST_F(WinSockTest, RetryBoundIsSetInSeconds) {
    Socket socket(L"127.0.0.1", 80);
    socket.Open();
    if (!RunningUnderWine()) {
        EXPECT_NO_THROW(socket.SetMaxRetryTimeout(1));
        return;
    }
    // Wine has no TCP_MAXRT: the probe read fails with WSAENOPROTOOPT.
    try {
        socket.SetMaxRetryTimeout(1);
        ADD_FAILURE();
    } catch (const WinSockException& e) {
        EXPECT_EQ(e.Code(), 10042u);
        EXPECT_THAT(e.what(), HasSubstr("RT option is not supported"));
    }
}

TEST_F(WinSockTest, ListenerIsSwitchedToReceiveAllAndCloseEndsABlockedRead) {
    Shared::WinSock::ICMPListener listener;
    try {
        listener.Bind(L"127.0.0.1");
        EXPECT_FALSE(RunningUnderWine());
    } catch (const WinSockException& e) {
        // Wine refuses receive-all mode with WSAEOPNOTSUPP; the socket stays open regardless.
        EXPECT_TRUE(RunningUnderWine());
        EXPECT_EQ(e.Code(), 10045u);
        EXPECT_THAT(e.what(), HasSubstr("WSAIoctl() failed"));
    }
    std::string failure;
    std::thread reader([&] {
        try {
            listener.ReadNextICMPResponse();
        } catch (const WinSockException& e) {
            failure = e.what();
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    listener.Close();
    reader.join();
    EXPECT_THAT(failure, HasSubstr("recvfrom() failed"));
}

}  // namespace
