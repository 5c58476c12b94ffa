// The Linux table against the real kernel on loopback: how a connect's wait ends, and local
// ports handed out in sequence.

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <set>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/WinSock/shared.winsock-ephemeralports.hpp"
#include "Shared/src/WinSock/shared.winsock-systemcalls.hpp"

namespace {

using namespace Shared::WinSock;

const Ipv4Address kLoopback = htonl(INADDR_LOOPBACK);

// A loopback listener whose accept queue is full, so that a further SYN goes unanswered.
class SaturatedListener {
public:
    SaturatedListener() {
        listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = kLoopback;
        socklen_t length = sizeof address;
        ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
        ::listen(listener_, 0);
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        // Backlog 0 still admits one connection, which fills the queue.
        filler_ = ::socket(AF_INET, SOCK_STREAM, 0);
        ::connect(filler_, reinterpret_cast<sockaddr*>(&address), length);
    }
    ~SaturatedListener() {
        ::close(filler_);
        ::close(listener_);
    }
    std::uint16_t Port() const { return port_; }

private:
    int listener_ = -1;
    std::uint16_t port_ = 0;
    int filler_ = -1;
};

ConnectWaitResult ConnectTo(std::uint16_t port, std::span<const Shared::Raii::NativeHandle> wake,
                            std::uint32_t timeoutMs) {
    auto& calls = PlatformCalls();
    const SocketAddress target{AddressFamily::Ipv4, kLoopback, port};
    const auto socket = calls.OpenStream(target);
    const auto result = calls.Connect(socket, target, wake, timeoutMs);
    calls.Close(socket);
    return result;
}

TEST(LinuxCalls, ConnectWaitEndsAtTheFirstOfOutcomeWakeUpAndTimeOut) {
    const SaturatedListener hanging;
    EXPECT_EQ(ConnectTo(hanging.Port(), {}, 100).kind, ConnectWaitResult::Kind::TimedOut);

    Shared::Concurrency::Event idle(true);
    Shared::Concurrency::Event answered(true);
    answered.Signal();
    const Shared::Raii::NativeHandle handles[] = {idle.Handle(), answered.Handle()};
    const auto woken = ConnectTo(hanging.Port(), handles, kWaitForever);
    EXPECT_EQ(woken.kind, ConnectWaitResult::Kind::Woken);
    EXPECT_EQ(woken.wokenIndex, 1u);

    const int closed = ::socket(AF_INET, SOCK_STREAM, 0);  // bound, never listening
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = kLoopback;
    socklen_t length = sizeof address;
    ::bind(closed, reinterpret_cast<sockaddr*>(&address), length);
    ::getsockname(closed, reinterpret_cast<sockaddr*>(&address), &length);
    const auto refused = ConnectTo(ntohs(address.sin_port), handles, 1000);
    ::close(closed);
    // The socket's own outcome counts even though a wake handle is signalled too.
    EXPECT_EQ(refused.kind, ConnectWaitResult::Kind::Completed);
    EXPECT_EQ(refused.error, static_cast<std::uint32_t>(ECONNREFUSED));
}

TEST(LinuxCalls, SystemChosenPortsComeInSequenceAndNeverRepeat) {
    EphemeralPorts ports(60000, 60002, 60002);
    EXPECT_EQ(ports.Next(), 60002);
    EXPECT_EQ(ports.Next(), 60000);  // wraps within the range
    EXPECT_EQ(ports.Count(), 3u);
    // Reserved ports are skipped: a single one, then a range up to the end, which wraps.
    EphemeralPorts sparing(60000, 60004, 60000, ParsePortList("x,60001,9-8,60003-60004"));
    EXPECT_EQ(sparing.Next(), 60000);
    EXPECT_EQ(sparing.Next(), 60002);
    EXPECT_EQ(sparing.Next(), 60000);
    EXPECT_TRUE(ParsePortList("x,9-8,70000,1-,-2,,").empty());

    auto& calls = PlatformCalls();
    std::set<std::uint16_t> seen;
    std::vector<SocketHandle> sockets;
    for (int i = 0; i < 200; ++i) {
        const auto socket = calls.OpenStream({AddressFamily::Ipv4, kLoopback, 80});
        ASSERT_TRUE(calls.BindStream(socket, kLoopback, 0));
        std::uint16_t port = 0;
        ASSERT_TRUE(calls.LocalPort(socket, port));
        seen.insert(port);
        sockets.push_back(socket);
    }
    for (const auto socket : sockets) {
        calls.Close(socket);
    }
    EXPECT_EQ(seen.size(), 200u);
}

}  // namespace
