// Socket, ICMPListener and the time-exceeded decoder over a fake system-call table: the failure
// paths that need no privileges and no network.

#include <gtest/gtest.h>

#include <thread>

#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"
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
using namespace testing_support;
using Status = ConnectOutcome::Status;
using Kind = ConnectWaitResult::Kind;

// Header options move the fields; the datagram may end right after the ports, not sooner.
TEST(IcmpDecode, TakesTimeExceededQuotingTcpAndDropsOtherTypesProtocolsAndShortDatagrams) {
    const auto bytes = TimeExceededDatagram({.outerOptions = 8, .innerOptions = 12});
    const auto probe = Shared::WinSock::DecodeTimeExceeded(bytes, bytes.size() - 4);
    ASSERT_TRUE(probe);
    EXPECT_EQ(probe->originalDestination, (std::array<std::uint8_t, 4>{198, 18, 4, 1}));
    EXPECT_EQ(probe->sourcePort, 40000);
    EXPECT_EQ(probe->destinationPort, 80);
    const auto decodes = [](const QuotedProbe& shape, std::size_t received = 56) {
        return Shared::WinSock::DecodeTimeExceeded(TimeExceededDatagram(shape), received)
            .has_value();
    };
    EXPECT_FALSE(decodes({.type = 3}));            // unreachable
    EXPECT_FALSE(decodes({.outerProtocol = 17}));  // not ICMP at all
    EXPECT_FALSE(decodes({.protocol = 17}));       // quotes UDP
    EXPECT_FALSE(decodes({}, 20 + 8 + 20 + 3));    // a port byte short, though the buffer has it
    EXPECT_FALSE(decodes({}, 20 + 8 + 19));        // quoted header cut short
    EXPECT_FALSE(decodes({}, 20 + 7));
    EXPECT_FALSE(decodes({}, 10));
    EXPECT_FALSE(decodes({.outerOptions = 40}, 56));  // a header longer than the datagram
}

std::uint32_t CodeOf(const std::function<void()>& action) {
    return Thrown<WinSockException>(action).Code();
}

TEST(Socket, ConnectOutcomesAreValuesAndTheWaitIsTheRetryTimeOutClamped) {
    FakeCalls calls;
    Socket socket(L"198.18.4.1", 80, calls);
    std::uint32_t waitedMs = 0;
    const auto outcome = [&](ConnectWaitResult result, std::uint32_t retrySeconds = 2) {
        calls.onConnect = [&, result](auto, auto, std::uint32_t timeoutMs) {
            waitedMs = timeoutMs;
            return result;
        };
        socket.Open();
        socket.Bind(L"198.18.1.2", 0);
        const auto connect = socket.TryConnect(3, retrySeconds);
        socket.Close();
        return connect;
    };
    // Connected and the wait of whole seconds: the trace tests see them.
    EXPECT_EQ(outcome({Kind::TimedOut}).status, Status::TimedOut);
    EXPECT_EQ(outcome({Kind::Woken, 0, 1}).wokenIndex, 1u);
    EXPECT_EQ(calls.lastRetrySeconds, 2u);
    const auto unreachable = outcome({Kind::Completed, kUnreachableCode});
    EXPECT_EQ(unreachable.status, Status::Failed);
    EXPECT_EQ(unreachable.error, kUnreachableCode);
    // The stack's own expiry is a time-out too, not a failure.
    EXPECT_EQ(outcome({Kind::Completed, kTimedOutCode}).status, Status::TimedOut);
    outcome({}, 4294967295u);  // a huge -t must not wrap around to a short wait
    EXPECT_EQ(waitedMs, 2147483647u);
    outcome({}, 0);
    EXPECT_EQ(waitedMs, Shared::WinSock::kWaitForever);

    calls.onConnect = [](auto...) { return ConnectWaitResult{Kind::Completed, kRefusedCode}; };
    socket.Open();
    EXPECT_EQ(CodeOf([&] { socket.Connect(); }), kRefusedCode);
}

TEST(ICMPListener, FailedBindsLeaveNothingHalfOpenAndTheListenersSecondBindRetries) {
    FakeCalls calls;
    calls.bindError = kInUseCode;
    Socket socket(L"198.18.4.1", 80, calls);
    socket.Open();
    EXPECT_EQ(CodeOf([&] { socket.Bind(L"198.18.1.2", 1000); }), kInUseCode);
    EXPECT_EQ(socket.TryConnect(0, 0).status, Status::Failed);
    EXPECT_THROW(socket.SetSocketTTL(1), WinSockException);
    ICMPListener listener(calls);
    EXPECT_EQ(CodeOf([&] { listener.Bind(L"198.18.1.2"); }), kInUseCode);
    EXPECT_TRUE(calls.open.empty());
    calls.bindError = 0;
    listener.Bind(L"198.18.1.2");  // not the early return of an already bound listener
    listener.Bind(L"198.18.1.3");
    EXPECT_EQ(calls.open.size(), 1u);

    // A socket that cannot be watched would block its reader under the lock Close needs.
    calls.watch = Shared::Raii::kNullHandle;
    ICMPListener unwatched(calls);
    EXPECT_THROW(unwatched.Bind(L"198.18.1.2"), WinSockException);
    EXPECT_EQ(calls.open.size(), 1u);
}

TEST(ICMPListener, SkipsShortDatagramsFailsWithTheReadsCodeAndEndsWhenClosed) {
    FakeCalls calls;
    calls.bytes = TimeExceededDatagram();
    const auto size = static_cast<std::int64_t>(calls.bytes.size());
    // A short one and an empty one, then a good one.
    calls.datagrams = {{12, 0, 0x010212C6}, {0, 0, 0}, {size, 0, 0x010212C6}};
    ICMPListener listener(calls);
    listener.Bind(L"198.18.1.2");
    // The probe it names is the listener set's test.
    const auto answer = listener.ReadNextICMPResponse();
    EXPECT_EQ(Shared::WinSock::Ipv4Text(answer.from), "198.18.2.1");
    EXPECT_EQ(answer.destinationPort, 80);

    // Nothing queued: the reader blocks until another thread closes the listener.
    std::thread closer([&] { listener.Close(); });
    EXPECT_THROW(listener.ReadNextICMPResponse(), WinSockException);
    closer.join();
    EXPECT_TRUE(calls.open.empty());

    calls.datagrams = {{-1, kRefusedCode, 0}};
    ICMPListener failing(calls);
    failing.Bind(L"198.18.1.2");
    EXPECT_EQ(CodeOf([&] { failing.ReadNextICMPResponse(); }), kRefusedCode);
}

}  // namespace
