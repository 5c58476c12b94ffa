#include <chrono>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "HOPR/HOPR/hopr-listenerset.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"
#include "support/captured_log.hpp"
#include "support/fake_systemcalls.hpp"

namespace {

using HOPR::ProbeAnswers;
using HOPR::ProbeAttempt;
using Shared::WinSock::ConnectWaitResult;
using Shared::WinSock::ICMPTCPResponse;
using testing_support::FakeCalls;

constexpr Shared::WinSock::Ipv4Address kTarget = 0x010412C6;  // 198.18.4.1
constexpr Shared::WinSock::Ipv4Address kOther = 0x020412C6;   // 198.18.4.2

ICMPTCPResponse Answer(Shared::WinSock::Ipv4Address from, std::int64_t at,
                       Shared::WinSock::Ipv4Address destination = kTarget) {
    return {destination, from, 1000, 443, at};
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
        EXPECT_FALSE(Shared::Concurrency::WaitFor(wake.Handle(), 0, false));  // not woken
        EXPECT_TRUE(answers.Record(Answer(4, 10)));
        EXPECT_TRUE(Shared::Concurrency::WaitFor(wake.Handle(), 0, false));
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

// A listener that skips a short and an empty datagram, takes an answer, then fails as one whose
// interface went away does.
TEST(ListenerSet, AFailedSocketEndsOnlyItsThreadAndKeepsWhatItCaught) {
    FakeCalls calls;
    calls.bytes = testing_support::TimeExceededDatagram();
    calls.datagrams = {{12, 0, 0x010112C6}, {0, 0, 0}, {56, 0, 0x010212C6},
                       {-1, testing_support::kUnreachableCode, 0}};
    ProbeAnswers answers;
    Shared::Concurrency::Event wake(true);
    const ProbeAnswers::Flight flight(answers, {kTarget, 40000}, 0, wake);
    HOPR::ListenerSet listeners({L"198.18.1.2"}, calls);
    listeners.Start(answers, Shared::Concurrency::Event(true));
    ASSERT_TRUE(Shared::Concurrency::WaitFor(wake.Handle(), 10'000, false));
    listeners.Stop();
    EXPECT_EQ(answers.Total(), 1u);  // nothing read from what was skipped
    ASSERT_TRUE(flight.Answer());
    EXPECT_EQ(std::pair(flight.Answer()->from, flight.Answer()->destinationPort),
              std::pair(0x010212C6u, std::uint16_t{80}));
}

// A path whose target accepts from hop `connectAtHop` on; routers up to `answeringHops` answer
// each probe the way a listener thread would, which must end the probe's wait at once.
struct Path {
    std::uint32_t connectAtHop = 0;  // 0: never
    std::uint32_t answeringHops = 0;
    FakeCalls calls;
    HOPR::ProbeAnswers answers{nullptr};
    CapturedLog quiet;  // the trace's progress lines, which no case here reads

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
                answers.Record({kTarget, 0x010012C6 + (ttl << 16), calls.localPort, 443,
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
                                   std::uint32_t maxUnknown, HOPR::TraceOptions options = {}) {
    path.Install();
    const Shared::Json::TcpTraceTest test{.target = L"target.lab", .timeout = 1,
                                          .maxUnknown = maxUnknown, .probesPerNode = probesPerNode,
                                          .resolvedIp = L"198.18.4.1"};
    return HOPR::Trace(L"198.18.60.2", L"198.18.1.2", test, path.answers, options, path.calls);
}

// The lab traces real paths; these are the ends and the port accounting it cannot reach.
TEST(Trace, ListenerAnswersEndTheirProbesLateOnesTooAndTheTraceEndsAtItsLimits) {
    Path path{.connectAtHop = 3, .answeringHops = 2};
    const auto run = RunTrace(path, 2, 3);
    ASSERT_EQ(run.size(), 6u);  // two per hop, the target's included
    EXPECT_EQ(run[2].answer->from, 0x010212C6u);
    EXPECT_EQ(path.calls.aborted, 6u);  // every probe's socket was reset, none left to linger

    Path silent;
    EXPECT_TRUE(RunTrace(silent, 3, 0).empty());
    Shared::Concurrency::Event exitEvent(true);
    Path stopped;
    stopped.calls.onConnect = [&](std::uint32_t, auto wake, std::uint32_t) -> ConnectWaitResult {
        exitEvent.Signal();  // while the probe waits, whose wait the event must be able to end
        EXPECT_EQ(wake.size(), 2u);
        return {ConnectWaitResult::Kind::Woken};
    };
    EXPECT_EQ(RunTrace(stopped, 3, 3, {.exitEvent = &exitEvent}).size(), 1u);
    Path endless{.answeringHops = 1000};
    EXPECT_EQ(RunTrace(endless, 1, 1000).back().hop, 255u);  // the largest TTL

    // Under Wine the stack beneath fails the connect at the router's answer, before the
    // listener thread has read it: the probe must still get it.
    Path late;
    std::thread listener;
    late.calls.onConnect = [&](std::uint32_t ttl, auto, std::uint32_t) -> ConnectWaitResult {
        if (ttl >= 2) {
            return {};
        }
        listener = std::thread([&, port = late.calls.localPort] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            late.answers.Record({kTarget, 0x010112C6, port, 443,
                                 std::chrono::steady_clock::now().time_since_epoch().count()});
        });
        return {ConnectWaitResult::Kind::Completed, testing_support::kUnreachableCode};
    };
    const auto lateRun = RunTrace(late, 1, 3);
    listener.join();
    ASSERT_EQ(lateRun.size(), 2u);
    EXPECT_EQ(lateRun[0].answer.value_or(ICMPTCPResponse{}).from, 0x010112C6u);
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

    // A failed probe does not end the trace.
    Path bindFails;
    bindFails.calls.bindError = testing_support::kInUseCode;
    EXPECT_EQ(RunTrace(bindFails, 2, 1).size(), 2u);
}

constexpr std::int64_t kMs = 1'000'000;

ProbeAttempt Probe(std::uint32_t hop, std::int64_t startMs, bool connected = false,
                   std::int64_t endMs = 0) {
    return {.hop = hop, .target = L"target.lab", .targetAddress = L"198.18.4.1",
            .startTime = startMs * kMs, .endTime = endMs * kMs, .connected = connected,
            .wallClock = 17'953'037'390'000'000};  // 2026-11-21 in 100-ns ticks
}

// The probe with the answer it kept in flight.
ProbeAttempt Answered(ProbeAttempt probe, const std::wstring& from, std::int64_t atMs) {
    probe.answer = ICMPTCPResponse{kTarget, Shared::WinSock::ParseIpv4Strict(from), 1, 443,
                                   atMs * kMs};
    return probe;
}

nlohmann::json Result(const std::vector<ProbeAttempt>& probes, const HOPR::HostNames& names = {}) {
    const HOPR::ProbeAnswers answers;
    return nlohmann::json::parse(HOPR::GenerateMtrResults(
        {.target = L"target.lab", .probesPerNode = 3, .resolvedIp = L"198.18.4.1"}, probes,
        answers, names));
}

// Whole hubs as the agent reads them; "loss" is single precision on purpose.
TEST(ResultAssembly, HopsCarryStatisticsFromDistinctSamplesAndTheirRoutersNames) {
    HOPR::HostNames names;
    names.WriteExclusive([](auto& map) { map["198.18.2.1"] = "r2.lab"; });
    // Out of order, so that the largest, the smallest, the last sent and the last answered
    // sample are four different probes.
    const auto result = Result({Answered(Probe(1, 0), L"198.18.1.1", 30),
                                Answered(Probe(1, 100), L"198.18.1.1", 110),
                                Answered(Probe(1, 200), L"198.18.1.1", 220), Probe(1, 300),
                                Probe(2, 0), Answered(Probe(2, 0), L"198.18.2.1", 12), Probe(2, 0),
                                Probe(3, 0), Probe(3, 0), Probe(4, 0, true, 25),
                                Probe(4, 100, true, 105), Probe(4, 200, true, 215),
                                Probe(4, 300, false, 340)},
                               names);
    EXPECT_EQ(result["report"]["hubs"], nlohmann::json::parse(R"([
        {"count": "1", "sent": 4, "address": "198.18.1.1", "host": "198.18.1.1", "loss": 25.0,
         "worst": 30.0, "best": 10.0, "last": 20.0, "avg": 20.0, "stdev": 10.0},
        {"count": "2", "sent": 3, "address": "198.18.2.1", "host": "r2.lab",
         "loss": 66.66667175292969, "worst": 12.0, "best": 12.0, "last": 12.0, "avg": 12.0,
         "stdev": 0.0},
        {"count": "3", "sent": 2, "address": "0.0.0.0", "host": "???", "loss": 100.0,
         "worst": 0.0, "best": 0.0, "last": 0.0, "avg": 0.0, "stdev": 0.0},
        {"count": "4", "sent": 4, "address": "198.18.4.1", "host": "target.lab", "loss": 25.0,
         "worst": 25.0, "best": 5.0, "last": 15.0, "avg": 15.0, "stdev": 10.0}])"));
    EXPECT_EQ(result["timestamp"], 1795303739);
    auto mtr = result["report"]["mtr"];
    EXPECT_FALSE(mtr["src"].get<std::string>().empty());
    mtr.erase("src");
    EXPECT_EQ(mtr, nlohmann::json::parse(R"({"dst": "target.lab", "dstAddress": "198.18.4.1",
        "tos": "0x0", "psize": "0x00", "bitpattern": "", "tests": "3", "label": "",
        "options": ["rttClamping", "useDns", "showIps", "dns", "endVerification"]})"));
    EXPECT_EQ(Result({Probe(1, 0)})["report"]["hubs"].size(), 1u);  // nothing answered it
}

}  // namespace
