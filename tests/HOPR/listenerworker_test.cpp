// The listener threads and the host-name workers they feed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "HOPR/HOPR/hopr-hostresolution.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "support/captured_log.hpp"
#include "support/fake_systemcalls.hpp"

namespace {

using testing_support::FakeCalls;

constexpr Shared::WinSock::Ipv4Address kTarget = 0x010412C6;  // 198.18.4.1

// Two routers answer the probe in flight from port 40000, then the socket fails on its own.
TEST(ListenerWorker, KeepsTheFlightsAnswerNamesItsRouterAndWarnsWhenItsSocketFails) {
    const CapturedLog log;
    FakeCalls calls;
    for (const std::uint32_t router : {0x010112C6u, 0x010212C6u}) {
        calls.datagrams.push_back({56, 0, router});
    }
    calls.bytes = testing_support::TimeExceededDatagram();
    calls.datagrams.push_back({-1, testing_support::kRefusedCode, 0});
    Shared::WinSock::ICMPListener listener(calls);
    listener.Bind(L"198.18.1.2");
    HOPR::ResolutionQueues queues(2);
    HOPR::RouterNames names(queues, true);
    HOPR::ProbeAnswers answers(&names);
    Shared::Concurrency::Event wake(true);
    Shared::Concurrency::Event receiving(true);
    const HOPR::ProbeAnswers::Flight flight(answers, {kTarget, 40000}, 0, wake);
    HOPR::ListenerWorker(listener, answers, receiving);
    EXPECT_TRUE(Shared::Concurrency::WaitFor(receiving.Handle(), 0, false));
    EXPECT_EQ(flight.Answer()->from, 0x010112C6u);
    EXPECT_EQ(answers.CountFor(kTarget), 2u);
    EXPECT_EQ(queues[0].Copy(), (std::vector<std::string>{"198.18.1.1"}));
    EXPECT_TRUE(queues[1].Copy().empty());  // the second router answered nobody's probe
    EXPECT_THAT(log.Text(), testing::HasSubstr("warning ICMP worker encountered an error."));
}

TEST(HostResolutionWorker, DrainsItsQueueBeforeStoppingAndResolvesEachAddressOnce) {
    Shared::Concurrency::ThreadSafeQueue<std::string> queue;
    HOPR::HostNames names;
    HOPR::HostResolution::HostResolutionWorker worker(queue, names);
    queue.Push("127.0.0.1");
    queue.Push("127.0.0.1");
    worker.Start();
    worker.Stop(std::chrono::steady_clock::time_point::max());
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
    worker.Stop(std::chrono::steady_clock::now());
    EXPECT_EQ(queue.Size(), 1u);
    EXPECT_THAT(log.Text(), testing::HasSubstr("HostResolutionThread is exiting early"));
}

}  // namespace
