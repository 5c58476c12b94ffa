// A probe's own socket hands over its ICMP errors: what the error queue holds ends the probe.

#include <gtest/gtest.h>

#include <chrono>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "support/fake_systemcalls.hpp"
#include "support/queued_icmp_linux.hpp"

namespace {

using Shared::WinSock::ConnectOutcome;
using Shared::WinSock::ConnectWaitResult;
using testing_support::FakeCalls;

constexpr Shared::WinSock::Ipv4Address kRouter = 0x010212C6;  // 198.18.2.1

std::vector<std::uint8_t> QueuedIcmp(std::uint8_t type, std::int64_t wallNs) {
    return testing_support::QueuedIcmp(type, kRouter, wallNs);
}

std::int64_t NowNs(auto now) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now.time_since_epoch()).count();
}

// A connect that the kernel failed at an ICMP error with `control` queued on the socket.
ConnectOutcome ConnectWithQueued(std::vector<std::uint8_t> control) {
    FakeCalls calls;
    calls.answersOnProbeSockets = true;
    calls.errorQueue.push_back(std::move(control));
    calls.onConnect = [](auto...) {
        return ConnectWaitResult{ConnectWaitResult::Kind::Completed, testing_support::kUnreachableCode};
    };
    Shared::WinSock::Socket socket(L"198.18.4.1", 80, calls);
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

    const auto unreachable = ConnectWithQueued(QueuedIcmp(3, 0));
    EXPECT_EQ(unreachable.status, ConnectOutcome::Status::TimedOut);
    EXPECT_FALSE(unreachable.answer);

    auto truncated = QueuedIcmp(11, 0);
    truncated.resize(truncated.size() - 8);  // the offender cut off
    const auto broken = ConnectWithQueued(truncated);
    EXPECT_EQ(broken.status, ConnectOutcome::Status::Failed);
    EXPECT_EQ(broken.error, testing_support::kUnreachableCode);

    auto overrun = QueuedIcmp(11, 0);
    overrun[0] = 0xFF;  // the first message claims more than the buffer holds
    EXPECT_EQ(ConnectWithQueued(overrun).status, ConnectOutcome::Status::Failed);
}

// Answers from the probe's own socket: no listener, no wait for late answers, one port.
TEST(ErrorQueue, ATraceRecordsTheAnswersItsSocketsWereHanded) {
    FakeCalls calls;
    calls.answersOnProbeSockets = true;
    calls.onConnect = [&](std::uint32_t ttl, auto, std::uint32_t) {
        if (ttl == 3) {
            return ConnectWaitResult{};
        }
        if (ttl == 1) {
            calls.errorQueue.push_back(QueuedIcmp(11, NowNs(std::chrono::system_clock::now())));
        }
        return ConnectWaitResult{ConnectWaitResult::Kind::Completed, testing_support::kUnreachableCode};
    };
    HOPR::ProbeAnswers answers;
    Shared::Json::TcpTraceTest test;
    test.resolvedIp = L"198.18.4.1";
    test.probesPerNode = 2;
    test.maxUnknown = 3;
    test.timeout = 1;
    const auto start = std::chrono::steady_clock::now();
    const auto probes = HOPR::Trace(L"198.18.1.2", L"198.18.1.2", test, answers, {}, calls);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
    ASSERT_EQ(probes.size(), 6u);
    EXPECT_EQ(probes[0].answer->from, kRouter);
    EXPECT_EQ(probes[0].answer->sourcePort, 50000);
    EXPECT_FALSE(probes[2].answer);  // hop 2: its sockets were handed nothing
    EXPECT_EQ(answers.CountFor(0x010412C6), 2u);
}

}  // namespace
