#include <gtest/gtest.h>

#include "HOPR/HOPR/hopr-probeanswers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"

namespace {

using HOPR::ProbeAnswers;
using Shared::WinSock::ICMPTCPResponse;

constexpr Shared::WinSock::Ipv4Address kTarget = 0x010412C6;  // 198.18.4.1
constexpr Shared::WinSock::Ipv4Address kOther = 0x020412C6;   // 198.18.4.2

ICMPTCPResponse Answer(Shared::WinSock::Ipv4Address destination, std::uint16_t port,
                       Shared::WinSock::Ipv4Address from, std::int64_t at) {
    return {destination, from, port, 443, at};
}

bool Signalled(const Shared::Concurrency::Event& event) {
    return Shared::Concurrency::WaitFor(event.Handle(), 0, false);
}

TEST(ProbeAnswers, KeepsTheFirstAnswerAfterItsProbeBeganAndCountsTheRest) {
    ProbeAnswers answers;
    answers.Begin({kTarget, 1000}, 5);
    answers.Begin({kTarget, 1001}, 0);
    answers.Begin({kTarget, 1000}, 8);  // the same port again: its first start counts
    EXPECT_FALSE(answers.Record(Answer(kTarget, 1000, 9, 4)));  // before the probe began
    EXPECT_TRUE(answers.Record(Answer(kTarget, 1000, 1, 10)));
    EXPECT_FALSE(answers.Record(Answer(kTarget, 1000, 2, 20)));  // not the first
    EXPECT_TRUE(answers.Record(Answer(kTarget, 1001, 3, 5)));
    EXPECT_FALSE(answers.Record(Answer(kTarget, 999, 4, 30)));  // no probe used the port
    EXPECT_FALSE(answers.Record(Answer(kOther, 1000, 5, 30)));  // nor the destination
    EXPECT_EQ(answers.CountFor(kTarget), 5u);
    EXPECT_EQ(answers.CountFor(kOther), 0u);  // never probed: nothing to tell apart
    EXPECT_EQ(answers.Total(), 6u);
    EXPECT_EQ(answers.FirstAnswer({kTarget, 1000})->from, 1u);
    EXPECT_FALSE(answers.FirstAnswer({kTarget, 999}));
    // In capture order, whatever the ports' order.
    const auto kept = answers.KeptFor(kTarget);
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(kept[0].receivedAt, 10);
    EXPECT_EQ(kept[1].receivedAt, 5);
}

TEST(ProbeAnswers, AFloodKeepsNoMoreThanOneAnswerPerProbe) {
    ProbeAnswers answers;
    answers.Begin({kTarget, 40000}, 100);
    for (std::uint32_t i = 0; i < 200'000; ++i) {
        const auto port = static_cast<std::uint16_t>(i * 7919);
        answers.Record(Answer(i % 2 == 0 ? kTarget : kOther + (i << 8), port, i, i));
    }
    EXPECT_EQ(answers.Total(), 200'000u);
    EXPECT_EQ(answers.CountFor(kTarget), 100'000u);
    EXPECT_EQ(answers.KeptFor(kTarget).size(), 1u);
    EXPECT_GE(answers.FirstAnswer({kTarget, 40000})->receivedAt, 100);
}

TEST(ProbeAnswers, OnlyTheProbeInFlightForTheKeyIsWoken) {
    ProbeAnswers answers;
    answers.Record(Answer(kTarget, 1000, 1, 1));  // early: before any probe waits
    Shared::Concurrency::Event first(true);
    Shared::Concurrency::Event second(true);
    answers.Begin({kTarget, 1000}, 0);
    answers.Begin({kTarget, 1001}, 0);
    {
        const ProbeAnswers::Waiter waitsOn1000(answers, {kTarget, 1000}, first);
        const ProbeAnswers::Waiter waitsOn1001(answers, {kTarget, 1001}, second);
        EXPECT_FALSE(Signalled(first));  // an answer from before the wait does not end it
        answers.Record(Answer(kOther, 1001, 2, 2));  // same port, other destination
        EXPECT_FALSE(Signalled(second));
        answers.Record(Answer(kTarget, 1001, 3, 3));
        EXPECT_TRUE(Signalled(second));
        EXPECT_FALSE(Signalled(first));
    }
    second.Reset();
    answers.Record(Answer(kTarget, 1001, 4, 4));  // late: the probe has ended
    EXPECT_FALSE(Signalled(second));
    EXPECT_EQ(answers.FirstAnswer({kTarget, 1001})->from, 3u);
}

}  // namespace
