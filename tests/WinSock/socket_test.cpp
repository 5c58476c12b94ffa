// Socket, ICMPListener and the time-exceeded decoder over a fake system-call table: the failure
// paths that need no privileges and no network.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"
#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"
#include "support/fake_systemcalls.hpp"
#include "support/thrown.hpp"

namespace {

using namespace testing_support;
using Status = ConnectOutcome::Status;
using Kind = ConnectWaitResult::Kind;

// Header options move the fields; the datagram may end right after the ports, not sooner.
TEST(IcmpDecode, TakesTimeExceededQuotingTcpAndDropsOtherTypesProtocolsAndShortDatagrams) {
    const auto bytes = TimeExceededDatagram({.outerOptions = 8, .innerOptions = 12});
    const auto probe = DecodeTimeExceeded(bytes, bytes.size() - 4);
    ASSERT_TRUE(probe);
    EXPECT_EQ(std::tuple(probe->originalDestination, probe->sourcePort, probe->destinationPort),
              std::tuple(std::array<std::uint8_t, 4>{198, 18, 4, 1}, 40000, 80));
    const auto decodes = [](const QuotedProbe& shape, std::size_t received = 56) {
        return DecodeTimeExceeded(TimeExceededDatagram(shape), received).has_value();
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
        return socket.TryConnect(3, retrySeconds);
    };
    // Connected and the wait of whole seconds: the trace tests see them.
    EXPECT_EQ(outcome({Kind::TimedOut}).status, Status::TimedOut);
    EXPECT_EQ(outcome({Kind::Woken, 0, 1}).wokenIndex, 1u);
    EXPECT_EQ(std::pair(calls.lastRetrySeconds, waitedMs), std::pair(2u, 2000u));
    EXPECT_EQ(outcome({Kind::Completed, kUnreachableCode}).status, Status::Failed);
    EXPECT_EQ(CodeOf([&] { socket.Connect(); }), kUnreachableCode);
    // The stack's own expiry is a time-out too, not a failure.
    EXPECT_EQ(outcome({Kind::Completed, kTimedOutCode}).status, Status::TimedOut);
    outcome({}, 4294967295u);  // a huge -t must not wrap around to a short wait
    EXPECT_EQ(waitedMs, 2147483647u);
    outcome({}, 0);
    EXPECT_EQ(waitedMs, kWaitForever);
}

// The listener set's test reads what a listener skips and what it makes of a datagram.
TEST(ICMPListener, FailedBindsLeaveNothingHalfOpenAndAReadEndsAtItsFailureOrTheClose) {
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
    // Nothing queued: the reader blocks until another thread closes the listener.
    std::thread closer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // once the reader waits
        listener.Close();
    });
    EXPECT_THROW(listener.ReadNextICMPResponse(), WinSockException);
    closer.join();
    EXPECT_TRUE(calls.open.empty());

    calls.datagrams = {{-1, kUnreachableCode, 0}};
    ICMPListener failing(calls);
    failing.Bind(L"198.18.1.2");
    EXPECT_EQ(CodeOf([&] { failing.ReadNextICMPResponse(); }), kUnreachableCode);
    // A socket that cannot be watched would block its reader under the lock Close needs.
    calls.watch = Shared::Raii::kNullHandle;
    ICMPListener unwatched(calls);
    EXPECT_THROW(unwatched.Bind(L"198.18.1.2"), WinSockException);
    EXPECT_EQ(calls.open.size(), 1u);
}

}  // namespace
