// The Linux path: what a probe's error queue holds ends the probe (the lab runs whole traces
// over it; here are the records a quiet network never sends); how a connect's wait ends against
// the real kernel on loopback; and the local ports it hands out (the lab's probes bind them).

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>

#include "Shared/src/WinSock/shared.winsock-ephemeralports.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"
#include "support/fake_systemcalls.hpp"
#include "support/queued_icmp_linux.hpp"

namespace {

using namespace testing_support;  // and Shared::WinSock

std::int64_t NowNs(auto now) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now.time_since_epoch()).count();
}

// A connect that the kernel failed at an ICMP error with `control` queued on the socket.
ConnectOutcome ConnectWithQueued(std::vector<std::uint8_t> control) {
    FakeCalls calls;
    calls.answersOnProbeSockets = true;
    calls.errorQueue.push_back({std::move(control)});
    calls.onConnect = [](auto...) {
        return ConnectWaitResult{ConnectWaitResult::Kind::Completed, kUnreachableCode};
    };
    Socket socket(L"198.18.4.1", 80, calls);
    socket.Open();
    return socket.TryConnect(2, 1);
}

TEST(ErrorQueue, TimeExceededIsTheAnswerOtherErrorsAreSilentAndBrokenRecordsAreNothing) {
    const auto sent = NowNs(std::chrono::steady_clock::now());
    const auto answered =
        ConnectWithQueued(QueuedIcmp(11, NowNs(std::chrono::system_clock::now()) - 3'000'000));
    ASSERT_EQ(answered.status, ConnectOutcome::Status::Answered);
    EXPECT_EQ(answered.answer->from, kRouter);
    // The kernel's time, moved onto the steady clock: 3 ms before it was read.
    EXPECT_LT(answered.answer->receivedAt, sent);
    EXPECT_GT(answered.answer->receivedAt, sent - 100'000'000);

    EXPECT_EQ(ConnectWithQueued(QueuedIcmp(3, 0)).status, ConnectOutcome::Status::TimedOut);

    auto truncated = QueuedIcmp(11, 0);
    truncated.resize(truncated.size() - 8);  // the offender cut off
    EXPECT_EQ(ConnectWithQueued(truncated).status, ConnectOutcome::Status::Failed);

    // Until it draws its sequence number, a connecting socket takes errors quoting 0, forged
    // ones too: dropped, and the connect goes on to its own outcome (here the real router's).
    FakeCalls calls;
    calls.answersOnProbeSockets = true;
    calls.errorQueue = {{QueuedIcmp(11, 0), 0}};
    calls.onConnect = [&](auto...) {
        if (!calls.errorQueue.empty()) {
            return ConnectWaitResult{ConnectWaitResult::Kind::ErrorQueued};
        }
        calls.errorQueue.push_back({QueuedIcmp(3, 0)});
        return ConnectWaitResult{ConnectWaitResult::Kind::Completed, kUnreachableCode};
    };
    Socket socket(L"198.18.4.1", 80, calls);
    socket.Open();
    EXPECT_EQ(socket.TryConnect(2, 1).status, ConnectOutcome::Status::TimedOut);
}

const Ipv4Address kLoopback = htonl(INADDR_LOOPBACK);

// A TCP socket bound to a loopback port the system chose; backlog >= 0: listening.
int BoundSocket(std::uint16_t& port, int backlog = -1) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = kLoopback;
    socklen_t length = sizeof address;
    ::bind(socket, reinterpret_cast<sockaddr*>(&address), length);
    if (backlog >= 0) {
        ::listen(socket, backlog);
    }
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
    return socket;
}

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
    // Backlog 0 admits one connection, which fills the queue: a further SYN goes unanswered.
    std::uint16_t hanging = 0;
    const int listener = BoundSocket(hanging, 0);
    const SocketAddress target{AddressFamily::Ipv4, kLoopback, hanging};
    const auto filler = PlatformCalls().OpenStream(target);
    PlatformCalls().Connect(filler, target, {}, 1000);
    EXPECT_EQ(ConnectTo(hanging, {}, 100).kind, ConnectWaitResult::Kind::TimedOut);

    Shared::Concurrency::Event idle(true);
    Shared::Concurrency::Event answered(true);
    answered.Signal();
    const Shared::Raii::NativeHandle handles[] = {idle.Handle(), answered.Handle()};
    const auto woken = ConnectTo(hanging, handles, kWaitForever);
    EXPECT_EQ(woken.kind, ConnectWaitResult::Kind::Woken);
    EXPECT_EQ(woken.wokenIndex, 1u);
    PlatformCalls().Close(filler);
    ::close(listener);

    std::uint16_t port = 0;
    const int closed = BoundSocket(port);  // bound, never listening
    const auto refused = ConnectTo(port, handles, 1000);
    ::close(closed);
    // The socket's own outcome counts even though a wake handle is signalled too.
    EXPECT_EQ(refused.kind, ConnectWaitResult::Kind::Completed);
    EXPECT_EQ(refused.error, static_cast<std::uint32_t>(ECONNREFUSED));
}

TEST(EphemeralPorts, ComeInSequenceWrapAndSkipTheReservedOnes) {
    EphemeralPorts ports(60000, 60002, 60002);
    EXPECT_EQ(ports.Next(), 60002);
    EXPECT_EQ(ports.Next(), 60000);  // wraps within the range
    EXPECT_EQ(ports.Count(), 3u);
    // A single reserved port, then a range up to the end, which wraps.
    EphemeralPorts sparing(60000, 60004, 60000, ParsePortList("x,60001,9-8,60003-60004"));
    EXPECT_EQ(sparing.Next(), 60000);
    EXPECT_EQ(sparing.Next(), 60002);
    EXPECT_EQ(sparing.Next(), 60000);
    EXPECT_TRUE(ParsePortList("x,9-8,70000,1-,-2,,").empty());
}

}  // namespace
