// The listener threads and the host-name workers they feed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "HOPR/HOPR/hopr-hostresolution.hpp"
#include "support/captured_log.hpp"
#include "support/fake_systemcalls.hpp"

namespace {

using testing_support::FakeCalls;

constexpr Shared::WinSock::Ipv4Address kTarget = 0x010412C6;  // 198.18.4.1

// Runs a listener thread's body over answers from these routers (third octet of 198.18.x.1),
// the n-th quoting source port 40000 + n, until the socket fails after the last one.
std::vector<std::vector<std::string>> Distribute(const std::vector<std::uint8_t>& routers,
                                                 std::size_t queues, bool enabled,
                                                 HOPR::ProbeAnswers& answers) {
    FakeCalls calls;
    for (std::uint16_t n = 0; n < routers.size(); ++n) {
        calls.datagrams.push_back(
            {56, 0, static_cast<std::uint32_t>(0x010012C6 | routers[n] << 16)});
        calls.payloads.push_back(testing_support::TimeExceededDatagram(
            {.sourcePort = static_cast<std::uint16_t>(40000 + n)}));
    }
    calls.datagrams.push_back({-1, testing_support::kRefusedCode, 0});
    Shared::WinSock::ICMPListener listener(calls);
    listener.Bind(L"198.18.1.2");
    HOPR::ResolutionQueues resolution(queues);
    HOPR::ListenerWorker(listener, answers, resolution, enabled);
    std::vector<std::vector<std::string>> contents;
    for (const auto& queue : resolution) {
        contents.push_back(queue.Copy());
    }
    return contents;
}

TEST(ListenerWorker, RoutersOfProbesGoRoundRobinOncePerWorkerAndEveryAnswerCounts) {
    HOPR::ProbeAnswers answers;
    for (std::uint16_t n = 0; n < 6; ++n) {
        answers.Begin({kTarget, static_cast<std::uint16_t>(40000 + n)}, 0);
    }
    // The seventh answer quotes a port no probe used: its sender is nobody to name.
    const auto queues = Distribute({1, 2, 1, 3, 4, 2, 5}, 3, true, answers);
    EXPECT_EQ(queues[0], (std::vector<std::string>{"198.18.1.1", "198.18.4.1"}));
    EXPECT_EQ(queues[1], (std::vector<std::string>{"198.18.2.1"}));
    EXPECT_EQ(queues[2], (std::vector<std::string>{"198.18.3.1"}));
    EXPECT_EQ(answers.CountFor(kTarget), 7u);
    EXPECT_EQ(answers.FirstAnswer({kTarget, 40000})->from, 0x010112C6u);
}

TEST(ListenerWorker, DisabledResolutionTouchesNoQueue) {
    const CapturedLog log;
    HOPR::ProbeAnswers answers;
    const auto queues = Distribute({1, 2}, 2, false, answers);
    EXPECT_TRUE(queues[0].empty());
    EXPECT_TRUE(queues[1].empty());
    EXPECT_EQ(answers.Total(), 2u);
    EXPECT_THAT(log.Text(), testing::HasSubstr("Skipping resolution because it's either disabled"));
    EXPECT_THAT(log.Text(), testing::HasSubstr("ICMP worker encountered an error."));
}

TEST(HostResolutionWorker, DrainsItsQueueBeforeStoppingAndResolvesEachAddressOnce) {
    Shared::Concurrency::ThreadSafeQueue<std::string> queue;
    HOPR::HostNames names;
    HOPR::HostResolution::HostResolutionWorker worker(queue, names);
    queue.Push("127.0.0.1");
    queue.Push("127.0.0.1");
    worker.Start();
    worker.Stop();
    EXPECT_EQ(queue.Size(), 0u);
    names.ReadShared([](const auto& map) {
        ASSERT_EQ(map.size(), 1u);
        EXPECT_FALSE(map.at("127.0.0.1").empty());
    });
}

TEST(HostResolutionWorker, DisabledWorkerEndsAtOnceAndResolvesNothing) {
    const CapturedLog log;
    Shared::Concurrency::ThreadSafeQueue<std::string> queue;
    HOPR::HostNames names;
    HOPR::HostResolution::HostResolutionWorker worker(queue, names, false);
    queue.Push("127.0.0.1");
    worker.Start();
    worker.Stop();
    EXPECT_EQ(queue.Size(), 1u);
    EXPECT_THAT(log.Text(), testing::HasSubstr("HostResolutionThread is exiting early"));
}

}  // namespace
