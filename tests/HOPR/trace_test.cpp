#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "support/fake_systemcalls.hpp"

namespace {

using HOPR::ProbeAttempt;
using Shared::WinSock::ConnectWaitResult;
using testing_support::FakeCalls;

constexpr Shared::WinSock::Ipv4Address kTarget = 0x010412C6;  // 198.18.4.1

// A path whose target accepts from hop `connectAtHop` on; routers up to `answeringHops` answer
// each probe the way a listener thread would, which must end the probe's wait at once.
struct Path {
    std::uint32_t connectAtHop = 0;  // 0: never
    std::uint32_t answeringHops = 0;
    FakeCalls calls;
    HOPR::ProbeAnswers answers{nullptr};

    // Unless the test gave the connect an outcome of its own.
    void Install() {
        if (calls.onConnect) {
            return;
        }
        calls.onConnect = [this](std::uint32_t ttl,
                                 std::span<const Shared::Raii::NativeHandle> wake,
                                 std::uint32_t) -> ConnectWaitResult {
            if (connectAtHop != 0 && ttl >= connectAtHop) {
                return {};
            }
            if (ttl <= answeringHops) {
                answers.Record({kTarget, 0x010012C6 + (ttl << 16), calls.LastLocalPort(), 443,
                                std::chrono::steady_clock::now().time_since_epoch().count()});
                if (Shared::Concurrency::WaitFor(wake[0], 0, false)) {
                    return {ConnectWaitResult::Kind::Woken, 0, 0};
                }
            }
            return {ConnectWaitResult::Kind::TimedOut};
        };
    }
};

std::vector<ProbeAttempt> RunTrace(Path& path, std::uint32_t probesPerNode,
                                   std::uint32_t maxUnknown, HOPR::TraceOptions options = {},
                                   const std::wstring& resolvedIp = L"198.18.4.1") {
    path.Install();
    Shared::Json::TcpTraceTest test;
    test.target = L"target.lab";
    test.resolvedIp = resolvedIp;
    test.probesPerNode = probesPerNode;
    test.maxUnknown = maxUnknown;
    test.timeout = 1;
    return HOPR::Trace(L"198.18.60.2", L"198.18.1.2", test, path.answers, options, path.calls);
}

// The lab traces real paths; these are the ends and the port accounting it cannot reach.
TEST(Trace, ListenerAnswersEndTheirProbesAndTheTraceEndsAtItsLimits) {
    Path path{.connectAtHop = 3, .answeringHops = 2};
    const auto run = RunTrace(path, 2, 3);
    ASSERT_EQ(run.size(), 6u);
    EXPECT_TRUE(run.back().connected);
    EXPECT_EQ(run[2].answer->from, 0x010212C6u);
    EXPECT_EQ(path.calls.aborted, 6u);  // every probe's socket was reset, none left to linger
    EXPECT_TRUE(path.calls.open.empty());

    Path silent;
    EXPECT_TRUE(RunTrace(silent, 3, 0).empty());
    EXPECT_TRUE(RunTrace(silent, 0, 3).empty());
    EXPECT_TRUE(RunTrace(silent, 3, 3, {}, L"").empty());  // the target was never resolved
    Shared::Concurrency::Event exitEvent(true);
    exitEvent.Signal();
    EXPECT_TRUE(RunTrace(silent, 3, 3, {.exitEvent = &exitEvent}).empty());
    Path endless{.answeringHops = 1000};
    EXPECT_EQ(RunTrace(endless, 1, 1000).back().hop, 255u);  // the largest TTL
}

TEST(Trace, PortsAreAccountedPerProbeWithoutWrappingAndATakenOneGivesWay) {
    Path range{.answeringHops = 10};
    EXPECT_EQ(RunTrace(range, 2, 5, {.minPort = 1000, .maxPort = 1004}).size(), 5u);
    EXPECT_EQ(range.calls.boundPorts, std::vector<std::uint16_t>(5, 1000));
    Path top{.answeringHops = 10};
    EXPECT_EQ(RunTrace(top, 3, 5, {.minPort = 65535, .maxPort = 65535}).size(), 1u);
    // After a test of a serialised run: no wrap to low ports, with or without a last port.
    EXPECT_EQ(HOPR::NextTestPort(65535, 1, 65535), std::nullopt);
    EXPECT_EQ(HOPR::NextTestPort(65530, 5, 0), 65535u);
    EXPECT_EQ(HOPR::NextTestPort(65530, 6, 0), std::nullopt);
    EXPECT_EQ(HOPR::NextTestPort(0, 100000, 0), 0u);  // the system picks every test's port

    // A system-chosen port that someone else took after the first probe gives way to a new one.
    Path taken{.connectAtHop = 2, .answeringHops = 1};
    taken.calls.takenPorts = {50000};
    RunTrace(taken, 2, 5);
    EXPECT_EQ(taken.calls.boundPorts, (std::vector<std::uint16_t>{0, 50000, 0, 50002, 50002}));

    // A failed probe ends neither the trace nor leaves its socket open.
    Path bindFails;
    bindFails.calls.bindError = testing_support::kInUseCode;
    EXPECT_EQ(RunTrace(bindFails, 2, 1).size(), 2u);
    EXPECT_TRUE(bindFails.calls.open.empty());
}

// Under Wine the stack beneath fails the connect at the router's answer, before the listener
// thread has read it: the probe must still get it.
TEST(Trace, AProbeEndedByHostUnreachableWaitsForItsListenerAnswer) {
    Path path{.connectAtHop = 2};
    std::thread listener;
    path.calls.onConnect = [&](std::uint32_t ttl, std::span<const Shared::Raii::NativeHandle>,
                               std::uint32_t) -> ConnectWaitResult {
        if (ttl >= 2) {
            return {};
        }
        listener = std::thread([&, port = path.calls.LastLocalPort()] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            path.answers.Record({kTarget, 0x010112C6, port, 443,
                                 std::chrono::steady_clock::now().time_since_epoch().count()});
        });
        return {ConnectWaitResult::Kind::Completed, testing_support::kUnreachableCode};
    };
    const auto run = RunTrace(path, 1, 3);
    listener.join();
    ASSERT_EQ(run.size(), 2u);
    ASSERT_TRUE(run[0].answer);
    EXPECT_EQ(run[0].answer->from, 0x010112C6u);
}

}  // namespace
