// Socket and ICMPListener over a fake system-call table: the failure paths that need no
// privileges and no network.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"
#include "support/fake_systemcalls.hpp"
#include "support/thrown.hpp"

namespace {

using Shared::WinSock::ConnectOutcome;
using Shared::WinSock::ConnectWaitResult;
using Shared::WinSock::ICMPListener;
using Shared::WinSock::Socket;
using Shared::WinSock::WinSockException;
using testing_support::FakeCalls;

std::uint32_t CodeOf(const std::function<void()>& action) {
    return Thrown<WinSockException>(action).Code();
}

TEST(Socket, ConnectOutcomesAreValues) {
    FakeCalls calls;
    Socket socket(L"198.18.4.1", 80, calls);
    const auto outcome = [&](ConnectWaitResult result) {
        calls.onConnect = [=](auto, auto, auto) { return result; };
        socket.Open();
        socket.Bind(L"198.18.1.2", 0);
        const auto connect = socket.TryConnect(3, 2);
        socket.Close();
        return connect;
    };
    using Kind = ConnectWaitResult::Kind;
    EXPECT_EQ(outcome({}).status, ConnectOutcome::Status::Connected);
    EXPECT_EQ(outcome({Kind::TimedOut}).status, ConnectOutcome::Status::TimedOut);
    EXPECT_EQ(outcome({Kind::Woken, 0, 1}).wokenIndex, 1u);
    const auto unreachable = outcome({Kind::Completed, testing_support::kUnreachableCode});
    EXPECT_EQ(unreachable.status, ConnectOutcome::Status::Failed);
    EXPECT_EQ(unreachable.error, testing_support::kUnreachableCode);
    // The stack's own expiry is a time-out too, not a failure.
    EXPECT_EQ(outcome({Kind::Completed, testing_support::kTimedOutCode}).status,
              ConnectOutcome::Status::TimedOut);
    EXPECT_EQ(calls.lastTtl, 3u);
    EXPECT_EQ(calls.lastRetrySeconds, 2u);

    calls.onConnect = [](auto, auto, auto) {
        return ConnectWaitResult{Kind::Completed, testing_support::kRefusedCode};
    };
    socket.Open();
    EXPECT_EQ(CodeOf([&] { socket.Connect(); }), testing_support::kRefusedCode);
}

TEST(Socket, WaitIsBoundedByTheRetryTimeOutClamped) {
    FakeCalls calls;
    std::uint32_t waitedMs = 0;
    calls.onConnect = [&](auto, auto, std::uint32_t timeoutMs) {
        waitedMs = timeoutMs;
        return ConnectWaitResult{ConnectWaitResult::Kind::TimedOut};
    };
    Socket socket(L"198.18.4.1", 80, calls);
    socket.Open();
    socket.TryConnect(1, 2);
    EXPECT_EQ(waitedMs, 2000u);
    socket.Open();
    socket.TryConnect(1, 4294967295u);  // a huge -t must not wrap around to a short wait
    EXPECT_EQ(waitedMs, 2147483647u);
    socket.Open();
    socket.TryConnect(1, 0);
    EXPECT_EQ(waitedMs, Shared::WinSock::kWaitForever);
}

TEST(Socket, FailedBindLeavesNoHalfOpenSocket) {
    FakeCalls calls;
    calls.bindError = testing_support::kInUseCode;
    Socket socket(L"198.18.4.1", 80, calls);
    socket.Open();
    EXPECT_EQ(CodeOf([&] { socket.Bind(L"198.18.1.2", 1000); }), testing_support::kInUseCode);
    EXPECT_TRUE(calls.open.empty());
    EXPECT_EQ(socket.TryConnect(0, 0).status, ConnectOutcome::Status::Failed);
    EXPECT_THROW(socket.SetSocketTTL(1), WinSockException);
}

TEST(ICMPListener, FailedBindClosesAndASecondBindRetries) {
    FakeCalls calls;
    calls.bindError = testing_support::kInUseCode;
    ICMPListener listener(calls);
    EXPECT_EQ(CodeOf([&] { listener.Bind(L"198.18.1.2"); }), testing_support::kInUseCode);
    EXPECT_TRUE(calls.open.empty());
    calls.bindError = 0;
    listener.Bind(L"198.18.1.2");  // not the early return of an already bound listener
    EXPECT_EQ(calls.open.size(), 1u);
    listener.Bind(L"198.18.1.3");
    EXPECT_EQ(calls.open.size(), 1u);

    // A socket that cannot be watched would block its reader under the lock Close needs.
    calls.watch = Shared::Raii::kNullHandle;
    ICMPListener unwatched(calls);
    EXPECT_THROW(unwatched.Bind(L"198.18.1.2"), WinSockException);
    EXPECT_EQ(calls.open.size(), 1u);
}

TEST(ICMPListener, DrainsWhatIsQueuedSkipsTheRestAndEndsWhenClosed) {
    FakeCalls calls;
    calls.bytes = testing_support::TimeExceededDatagram();
    const auto size = static_cast<std::int64_t>(calls.bytes.size());
    // A short one and an empty one, then a good one.
    calls.datagrams = {{12, 0, 0x010212C6}, {0, 0, 0}, {size, 0, 0x010212C6}};
    ICMPListener listener(calls);
    listener.Bind(L"198.18.1.2");
    const auto answer = listener.ReadNextICMPResponse();
    EXPECT_EQ(answer.originalDestination, 0x010412C6u);
    EXPECT_EQ(answer.from, 0x010212C6u);
    EXPECT_EQ(answer.sourcePort, 40000);
    EXPECT_EQ(answer.destinationPort, 80);
    EXPECT_EQ(Shared::WinSock::Ipv4Text(answer.from), "198.18.2.1");

    // Nothing queued: the reader blocks until another thread closes the listener.
    std::thread closer([&] { listener.Close(); });
    EXPECT_THROW(listener.ReadNextICMPResponse(), WinSockException);
    closer.join();
    EXPECT_TRUE(calls.open.empty());

    calls.datagrams = {{-1, testing_support::kRefusedCode, 0}};
    ICMPListener failing(calls);
    failing.Bind(L"198.18.1.2");
    EXPECT_EQ(CodeOf([&] { failing.ReadNextICMPResponse(); }), testing_support::kRefusedCode);
}

}  // namespace
