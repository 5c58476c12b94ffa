// A probe's own socket hands over its ICMP errors: what the error queue holds ends the probe.
// The lab runs whole traces over this path; here are the records a quiet network never sends.

#include <ctime>  // before the kernel's header, which uses timespec without including it
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "Shared/src/WinSock/shared.winsock-socket.hpp"
#include "support/fake_systemcalls.hpp"

namespace {

using Shared::WinSock::ConnectOutcome;
using Shared::WinSock::ConnectWaitResult;
using testing_support::kUnreachableCode;

constexpr Shared::WinSock::Ipv4Address kRouter = 0x010212C6;  // 198.18.2.1

// The control messages recvmsg(MSG_ERRQUEUE) gives for an ICMP error: the kernel's receive
// time, then the error with the router as its offender.
std::vector<std::uint8_t> QueuedIcmp(std::uint8_t type, std::int64_t wallNs) {
    struct {
        sock_extended_err error;
        sockaddr_in offender;
    } record{};
    record.error.ee_origin = SO_EE_ORIGIN_ICMP;
    record.error.ee_type = type;
    record.offender.sin_family = AF_INET;
    record.offender.sin_addr.s_addr = kRouter;
    const timespec stamp{wallNs / 1'000'000'000, wallNs % 1'000'000'000};
    std::vector<std::uint8_t> control(CMSG_SPACE(sizeof stamp) + CMSG_SPACE(sizeof record));
    msghdr message{};
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    auto* header = CMSG_FIRSTHDR(&message);
    *header = {CMSG_LEN(sizeof stamp), SOL_SOCKET, SO_TIMESTAMPNS};
    std::memcpy(CMSG_DATA(header), &stamp, sizeof stamp);
    header = CMSG_NXTHDR(&message, header);
    *header = {CMSG_LEN(sizeof record), SOL_IP, IP_RECVERR};
    std::memcpy(CMSG_DATA(header), &record, sizeof record);
    return control;
}

std::int64_t NowNs(auto now) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now.time_since_epoch()).count();
}

// A connect that the kernel failed at an ICMP error with `control` queued on the socket.
ConnectOutcome ConnectWithQueued(std::vector<std::uint8_t> control) {
    testing_support::FakeCalls calls;
    calls.answersOnProbeSockets = true;
    calls.errorQueue.push_back(std::move(control));
    calls.onConnect = [](auto...) {
        return ConnectWaitResult{ConnectWaitResult::Kind::Completed, kUnreachableCode};
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
    EXPECT_EQ(broken.error, kUnreachableCode);

    auto overrun = QueuedIcmp(11, 0);
    overrun[0] = 0xFF;  // the first message claims more than the buffer holds
    EXPECT_EQ(ConnectWithQueued(overrun).status, ConnectOutcome::Status::Failed);
}

}  // namespace
