#include <chrono>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"
#include "support/captured_log.hpp"
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
    std::uint32_t failure = 0;  // non-zero: the connect fails with it instead of timing out
    FakeCalls calls;
    HOPR::ProbeAnswers answers{nullptr};
    std::vector<std::uint32_t> timeoutsMs;

    // Unless the test gave the connect an outcome of its own.
    void Install() {
        if (calls.onConnect) {
            return;
        }
        calls.onConnect = [this](std::uint32_t ttl,
                                 std::span<const Shared::Raii::NativeHandle> wake,
                                 std::uint32_t timeoutMs) -> ConnectWaitResult {
            timeoutsMs.push_back(timeoutMs);
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
            if (failure != 0) {
                return {ConnectWaitResult::Kind::Completed, failure};
            }
            return {ConnectWaitResult::Kind::TimedOut};
        };
    }
};

struct TraceRun {
    std::vector<ProbeAttempt> probes;
    std::string log;
};

TraceRun RunTrace(Path& path, std::uint32_t probesPerNode, std::uint32_t maxUnknown,
                  HOPR::TraceOptions options = {}, const std::wstring& resolvedIp = L"198.18.4.1") {
    const CapturedLog log;
    path.Install();
    Shared::Json::TcpTraceTest test;
    test.target = L"target.lab";
    test.resolvedIp = resolvedIp;
    test.probesPerNode = probesPerNode;
    test.maxUnknown = maxUnknown;
    test.timeout = 1;
    auto probes = HOPR::Trace(L"198.18.60.2", L"198.18.1.2", test, path.answers, options, path.calls);
    return {std::move(probes), log.Text()};
}

TEST(Trace, AnsweredProbesEndSilentlyAndTheTraceStopsAfterTheConnectingHop) {
    Path path{.connectAtHop = 3, .answeringHops = 2};
    const auto run = RunTrace(path, 2, 3);
    ASSERT_EQ(run.probes.size(), 6u);
    EXPECT_EQ(run.probes.back().hop, 3u);
    EXPECT_TRUE(run.probes.back().connected);
    EXPECT_FALSE(run.probes.front().connected);
    EXPECT_GE(run.probes.front().endTime, run.probes.front().startTime);
    EXPECT_THAT(run.log, testing::Not(testing::HasSubstr("Winsock error")));
    EXPECT_EQ(run.probes[5].repeat, 1u);
    EXPECT_TRUE(path.calls.open.empty());
    EXPECT_EQ(path.calls.aborted, 6u);  // every probe's socket was reset, none left to linger
    // The connect time-out bounds every wait, and each probe keeps the answer of its flight.
    EXPECT_THAT(path.timeoutsMs, testing::Each(1000u));
    EXPECT_EQ(run.probes[2].answer->from, 0x010212C6u);
    // One flow: the system picks the first probe's port, and every later probe reuses it.
    EXPECT_EQ(path.calls.boundPorts, (std::vector<std::uint16_t>{0, 50000, 50000, 50000, 50000, 50000}));

    Path atOnce{.connectAtHop = 1};
    EXPECT_EQ(RunTrace(atOnce, 3, 3).probes.size(), 3u);
}

TEST(Trace, SilentHopsEndTheTraceAfterMaxUnknown) {
    Path path;
    const auto run = RunTrace(path, 2, 3);
    EXPECT_EQ(run.probes.size(), 6u);
    EXPECT_EQ(run.probes.back().hop, 3u);
    EXPECT_THAT(run.log, testing::HasSubstr("Aborting trace for 198.18.4.1 due to too many unknown nodes"));
    EXPECT_TRUE(RunTrace(path, 3, 0).probes.empty());
    EXPECT_TRUE(RunTrace(path, 0, 3).probes.empty());
    Path endless{.answeringHops = 1000};
    EXPECT_EQ(RunTrace(endless, 1, 1000).probes.back().hop, 255u);  // the largest TTL
}

TEST(Trace, EveryProbeLeavesFromTheRangesFirstPortWhichIsAccountedPerProbeWithoutWrapping) {
    Path range{.answeringHops = 10};
    const auto run = RunTrace(range, 2, 5, {.minPort = 1000, .maxPort = 1004});
    ASSERT_EQ(run.probes.size(), 5u);
    EXPECT_EQ(range.calls.boundPorts, std::vector<std::uint16_t>(5, 1000));

    Path top{.answeringHops = 10};
    EXPECT_EQ(RunTrace(top, 3, 5, {.minPort = 65535, .maxPort = 65535}).probes.size(), 1u);
    // After a test of a serialised run: no wrap to low ports, with or without a last port.
    EXPECT_EQ(HOPR::NextTestPort(1000, 5, 1004), std::nullopt);
    EXPECT_EQ(HOPR::NextTestPort(1000, 5, 1005), 1005u);
    EXPECT_EQ(HOPR::NextTestPort(65535, 1, 65535), std::nullopt);
    EXPECT_EQ(HOPR::NextTestPort(65530, 5, 0), 65535u);
    EXPECT_EQ(HOPR::NextTestPort(65530, 6, 0), std::nullopt);
    EXPECT_EQ(HOPR::NextTestPort(0, 100000, 0), 0u);  // the system picks every test's port

    // A system-chosen port that someone else took after the first probe gives way to a new one.
    Path taken{.connectAtHop = 2, .answeringHops = 1};
    taken.calls.takenPorts = {50000};
    RunTrace(taken, 2, 5);
    EXPECT_EQ(taken.calls.boundPorts, (std::vector<std::uint16_t>{0, 50000, 0, 50002, 50002}));
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
    ASSERT_EQ(run.probes.size(), 2u);
    ASSERT_TRUE(run.probes[0].answer);
    EXPECT_EQ(run.probes[0].answer->from, 0x010112C6u);
}

TEST(Trace, ExitEventDuringOrBeforeAProbeUnresolvedTargetAndLoudErrors) {
    Shared::Concurrency::Event exitEvent(true);
    Path during;
    during.calls.onConnect = [&](std::uint32_t, std::span<const Shared::Raii::NativeHandle> wake,
                                 std::uint32_t) -> ConnectWaitResult {
        exitEvent.Signal();  // the agent stops the run while the probe waits
        EXPECT_EQ(wake.size(), 2u);
        return {ConnectWaitResult::Kind::Woken, 0, 1};
    };
    const auto stopped = RunTrace(during, 3, 3, {.exitEvent = &exitEvent});
    ASSERT_EQ(stopped.probes.size(), 1u);
    EXPECT_FALSE(stopped.probes[0].connected);
    EXPECT_THAT(stopped.log, testing::HasSubstr("TCP Tracer thread has received signal to exit."));
    EXPECT_THAT(stopped.log, testing::Not(testing::HasSubstr("Winsock error")));
    Path path{.connectAtHop = 1};
    EXPECT_TRUE(RunTrace(path, 3, 3, {.exitEvent = &exitEvent}).probes.empty());

    const auto unresolved = RunTrace(path, 3, 3, {}, L"");
    EXPECT_TRUE(unresolved.probes.empty());
    EXPECT_THAT(unresolved.log, testing::HasSubstr("Failed resolving IPv4 address for target.lab."));

    Path refused{.failure = testing_support::kRefusedCode};
    const auto loud = RunTrace(refused, 1, 1);
    EXPECT_THAT(loud.log, testing::HasSubstr("Winsock error on 198.18.4.1:50000"));
    EXPECT_THAT(loud.log, testing::HasSubstr("connect() failed"));

    Path bindFails;
    bindFails.calls.bindError = testing_support::kInUseCode;
    const auto unbound = RunTrace(bindFails, 2, 1);
    ASSERT_EQ(unbound.probes.size(), 2u);  // a failed probe never ends the trace
    EXPECT_EQ(unbound.probes[0].localPort, 0u);
    EXPECT_THAT(unbound.log, testing::HasSubstr("bind() failed"));
    EXPECT_TRUE(bindFails.calls.open.empty());
}

}  // namespace
