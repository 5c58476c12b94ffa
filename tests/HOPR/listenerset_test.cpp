// The run's listeners: a socket that fails in the middle of a run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "HOPR/HOPR/hopr-listenerset.hpp"
#include "support/captured_log.hpp"
#include "support/fake_systemcalls.hpp"

namespace {

// Answers one time-exceeded datagram, then fails the way a socket whose interface went away
// does, and tells the test when it has failed.
class FailingSocket : public testing_support::FakeCalls {
public:
    FailingSocket() {
        bytes = testing_support::TimeExceededDatagram();
        datagrams.push_back({56, 0, 0x010112C6});
        datagrams.push_back({-1, testing_support::kUnreachableCode, 0});
    }

    Shared::WinSock::ReceiveResult ReceiveFrom(Shared::WinSock::SocketHandle socket,
                                               std::span<std::uint8_t> buffer) override {
        const auto result = FakeCalls::ReceiveFrom(socket, buffer);
        if (result.bytes < 0 && !result.wouldBlock) {
            failed.set_value();
        }
        return result;
    }

    std::promise<void> failed;
};

TEST(ListenerSet, AFailedSocketEndsOnlyItsThreadAndKeepsWhatItCaught) {
    const CapturedLog log;
    FailingSocket calls;
    auto done = calls.failed.get_future();
    HOPR::ProbeAnswers answers;
    Shared::Concurrency::Event wake(true);
    const HOPR::ProbeAnswers::Flight flight(answers, {0x010412C6, 40000}, 0, wake);
    HOPR::ListenerSet listeners({L"198.18.1.2"}, calls);
    const Shared::Concurrency::Event neverStopped(true);
    listeners.Start(answers, neverStopped);
    ASSERT_EQ(done.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    listeners.Stop();
    EXPECT_EQ(answers.CountFor(0x010412C6), 1u);
    EXPECT_TRUE(flight.Answer());
    EXPECT_THAT(log.Text(), testing::HasSubstr("ICMP worker encountered an error."));
    listeners.Stop();  // a second stop, as the destructor makes, is harmless
}

}  // namespace
