#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "HOPR/HOPR/hopr-listenerset.hpp"
#include "HOPR/HOPR/hopr-probeanswers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "support/fake_systemcalls.hpp"

namespace {

using HOPR::ProbeAnswers;
using Shared::WinSock::ICMPTCPResponse;

constexpr Shared::WinSock::Ipv4Address kTarget = 0x010412C6;  // 198.18.4.1
constexpr Shared::WinSock::Ipv4Address kOther = 0x020412C6;   // 198.18.4.2

ICMPTCPResponse Answer(Shared::WinSock::Ipv4Address from, std::int64_t at,
                       Shared::WinSock::Ipv4Address destination = kTarget) {
    return {destination, from, 1000, 443, at};
}

bool Signalled(const Shared::Concurrency::Event& event) {
    return Shared::Concurrency::WaitFor(event.Handle(), 0, false);
}

// Every probe of a trace quotes one key: only the flight tells whose an answer is. Only a kept
// answer's router is offered for naming, once, to the look-up workers in turn.
TEST(ProbeAnswers, AnAnswerBelongsToTheProbeInFlightAndIsCountedAnyway) {
    HOPR::ResolutionQueues queues(2);
    HOPR::RouterNames names(queues, true);
    ProbeAnswers answers(&names);
    Shared::Concurrency::Event wake(true);
    EXPECT_FALSE(answers.Record(Answer(1, 1)));  // before the first probe: not even counted
    {
        const ProbeAnswers::Flight first(answers, {kTarget, 1000}, 5, wake);
        EXPECT_FALSE(answers.Record(Answer(2, 4)));  // read before the probe began
        EXPECT_FALSE(answers.Record(Answer(3, 6, kOther)));
        EXPECT_FALSE(Signalled(wake));
        EXPECT_TRUE(answers.Record(Answer(4, 10)));
        EXPECT_TRUE(Signalled(wake));
        EXPECT_FALSE(answers.Record(Answer(5, 11)));  // the probe has its answer
        EXPECT_EQ(first.Answer()->from, 4u);
    }
    wake.Reset();
    EXPECT_FALSE(answers.Record(Answer(6, 20)));  // between probes
    {
        const ProbeAnswers::Flight second(answers, {kTarget, 1000}, 30, wake);
        EXPECT_FALSE(second.Answer());
        EXPECT_TRUE(answers.Record(Answer(7, 31)));
        EXPECT_EQ(second.Answer()->from, 7u);
    }
    EXPECT_FALSE(answers.Record(Answer(8, 40)));  // after the last
    EXPECT_EQ(answers.CountFor(kTarget), 6u);
    EXPECT_EQ(answers.CountFor(kOther), 0u);  // never probed: nothing to tell apart
    names.Offer(4);
    HOPR::RouterNames(queues, false).Offer(9);  // names are off
    EXPECT_EQ(std::vector({queues[0].Copy(), queues[1].Copy()}),
              (std::vector<std::vector<std::string>>{{"4.0.0.0"}, {"7.0.0.0"}}));
}

// The run's listeners: a socket that answers one time-exceeded datagram, then fails the way
// one whose interface went away does, and tells the test when it has failed.
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
    listeners.Stop();  // a second stop, as the destructor makes, is harmless
}

}  // namespace
