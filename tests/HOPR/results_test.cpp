#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <memory>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "HOPR/HOPR/hopr-probeanswers.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace {

using HOPR::ProbeAttempt;
using Shared::WinSock::ICMPTCPResponse;

constexpr std::int64_t kMs = 1'000'000;

ProbeAttempt Probe(std::uint32_t hop, std::uint32_t port, std::int64_t startMs,
                   bool connected = false, std::int64_t endMs = 0) {
    ProbeAttempt p;
    p.hop = hop;
    p.target = L"target.lab";
    p.targetAddress = L"198.18.4.1";
    p.startTime = startMs * kMs;
    p.endTime = endMs * kMs;
    p.localPort = port;
    p.connected = connected;
    p.wallClock = 17'953'037'390'000'000;  // 2026-11-21 in 100-ns ticks
    return p;
}

Shared::WinSock::Ipv4Address Ip(const std::wstring& text) {
    return Shared::WinSock::ParseIpv4Strict(text);
}

ICMPTCPResponse Answer(const std::wstring& from, std::uint16_t port, std::int64_t atMs) {
    return {Ip(L"198.18.4.1"), Ip(from), port, 443, atMs * kMs};
}

// Answers as a run records them: every probe begins, then the listeners record the answers in
// capture order. A target that is no dotted quad never begins, as in a run.
std::unique_ptr<HOPR::ProbeAnswers> Recorded(const std::vector<ProbeAttempt>& probes,
                                             const std::vector<ICMPTCPResponse>& answers) {
    auto recorded = std::make_unique<HOPR::ProbeAnswers>();
    for (const auto& probe : probes) {
        try {
            recorded->Begin({Ip(probe.targetAddress), static_cast<std::uint16_t>(probe.localPort)},
                            probe.startTime);
        } catch (const std::exception&) {
        }
    }
    for (const auto& answer : answers) {
        recorded->Record(answer);
    }
    return recorded;
}

Shared::Json::TcpTraceTest MakeTest() {
    Shared::Json::TcpTraceTest test;
    test.target = L"target.lab";
    test.resolvedIp = L"198.18.4.1";
    test.testUuid = L"t-1";
    test.probesPerNode = 3;
    return test;
}

nlohmann::json Result(const std::vector<ProbeAttempt>& probes,
                      const std::vector<ICMPTCPResponse>& answers,
                      const HOPR::HostNames& names = {}) {
    return nlohmann::json::parse(
        HOPR::GenerateMtrResults(MakeTest(), probes, *Recorded(probes, answers), names));
}

TEST(Correlation, FirstCaptureAfterTheProbeBeganWinsAndPortsMayBeShared) {
    const std::vector probes{Probe(1, 1000, 0), Probe(1, 1000, 5), Probe(2, 1001, 10, false, 40)};
    const auto hops = HOPR::BuildHopProbeResponses(
        probes, *Recorded(probes, {Answer(L"198.18.1.1", 1000, 12),
                                                Answer(L"198.18.9.9", 1000, 20),
                                                Answer(L"198.18.2.1", 1001, 8)}));
    ASSERT_EQ(hops.at(1).size(), 2u);
    EXPECT_EQ(hops.at(1)[0].response->from, Ip(L"198.18.1.1"));
    EXPECT_EQ(hops.at(1)[0].roundTripMs, 12);
    EXPECT_EQ(hops.at(1)[1].response->from, Ip(L"198.18.1.1"));
    EXPECT_EQ(hops.at(1)[1].roundTripMs, 7);
    // Captured before its probe began: somebody else's datagram, never this probe's answer.
    EXPECT_FALSE(hops.at(2)[0].response);
    EXPECT_EQ(hops.at(2)[0].roundTripMs, 30);
}

TEST(Correlation, OnlyDottedDecimalTargetsMatchAndUnansweredProbesKeepTheirDuration) {
    auto padded = Probe(1, 1000, 0, false, 1500);
    padded.targetAddress = L"198.018.004.001";
    const std::vector probes{padded, Probe(1, 1001, 0, false, 900)};
    const auto hops = HOPR::BuildHopProbeResponses(
        probes, *Recorded(probes, {Answer(L"198.18.1.1", 1000, 3)}));
    EXPECT_FALSE(hops.at(1)[0].response);
    EXPECT_EQ(hops.at(1)[0].roundTripMs, 1500);
    EXPECT_FALSE(hops.at(1)[1].response);
    EXPECT_EQ(hops.at(1)[1].roundTripMs, 900);
}

void ExpectStatistics(const nlohmann::json& hub, double worst, double best, double last,
                      double avg) {
    EXPECT_DOUBLE_EQ(hub["worst"].get<double>(), worst) << hub;
    EXPECT_DOUBLE_EQ(hub["best"].get<double>(), best) << hub;
    EXPECT_DOUBLE_EQ(hub["last"].get<double>(), last) << hub;
    EXPECT_DOUBLE_EQ(hub["avg"].get<double>(), avg) << hub;
}

// Samples out of order, so that the largest, the smallest, the last sent and the last answered
// are four different probes.
TEST(HopStatistics, BestWorstAndLastComeFromDistinctSamples) {
    const auto hubs = Result(
        {
            Probe(1, 1000, 0), Probe(1, 1001, 100), Probe(1, 1002, 200), Probe(1, 1003, 300),
            Probe(2, 1004, 0, true, 25), Probe(2, 1005, 100, true, 105), Probe(2, 1006, 200, false, 240),
        },
        {Answer(L"198.18.1.1", 1000, 30), Answer(L"198.18.1.1", 1001, 110),
         Answer(L"198.18.1.1", 1002, 220)})["report"]["hubs"];
    ASSERT_EQ(hubs.size(), 2u);
    ExpectStatistics(hubs[0], 30, 10, 20, 20);
    EXPECT_DOUBLE_EQ(hubs[0]["stdev"].get<double>(), 10.0);
    EXPECT_DOUBLE_EQ(hubs[0]["loss"].get<double>(), 25.0);
    ExpectStatistics(hubs[1], 25, 5, 5, 15);
}

TEST(ResultAssembly, OneOfThreeAnsweredAndTheDestinationHop) {
    const auto result =
        Result({Probe(1, 1000, 0), Probe(1, 1001, 0), Probe(1, 1002, 0),
                Probe(2, 1003, 0, true, 10), Probe(2, 1004, 0, true, 20), Probe(2, 1005, 0, true, 30)},
               {Answer(L"198.18.1.1", 1001, 12)});
    const auto& hubs = result["report"]["hubs"];
    ASSERT_EQ(hubs.size(), 2u);
    EXPECT_EQ(hubs[0]["count"], "1");
    EXPECT_EQ(hubs[0]["sent"], 3);
    EXPECT_EQ(hubs[0]["address"], "198.18.1.1");
    EXPECT_EQ(hubs[0]["host"], "198.18.1.1");
    EXPECT_DOUBLE_EQ(hubs[0]["loss"].get<double>(), 66.66667175292969);
    ExpectStatistics(hubs[0], 12, 12, 12, 12);
    EXPECT_DOUBLE_EQ(hubs[0]["stdev"].get<double>(), 0.0);
    EXPECT_EQ(hubs[1]["address"], "198.18.4.1");
    EXPECT_EQ(hubs[1]["host"], "target.lab");
    EXPECT_DOUBLE_EQ(hubs[1]["avg"].get<double>(), 20.0);
    EXPECT_DOUBLE_EQ(hubs[1]["stdev"].get<double>(), 10.0);
    EXPECT_DOUBLE_EQ(hubs[1]["loss"].get<double>(), 0.0);
    EXPECT_EQ(result["timestamp"], 1795303739);
}

TEST(ResultAssembly, UnansweredHopAndCachedNames) {
    HOPR::HostNames names;
    names.WriteExclusive([](auto& map) { map["198.18.2.1"] = "r2.lab"; });
    const auto result = Result({Probe(1, 1, 0), Probe(1, 2, 0), Probe(1, 3, 0), Probe(2, 4, 0)},
                               {Answer(L"198.18.2.1", 4, 1)}, names);
    const auto& hubs = result["report"]["hubs"];
    EXPECT_EQ(hubs[0]["host"], "???");
    EXPECT_EQ(hubs[0]["address"], "0.0.0.0");
    EXPECT_DOUBLE_EQ(hubs[0]["loss"].get<double>(), 100.0);
    EXPECT_EQ(hubs[0]["worst"], 0);
    EXPECT_DOUBLE_EQ(Result({Probe(1, 1, 0), Probe(1, 2, 0), Probe(1, 3, 0)},
                            {Answer(L"198.18.1.1", 1, 1), Answer(L"198.18.1.1", 2, 1)})
                         ["report"]["hubs"][0]["loss"].get<double>(),
                     33.333335876464844);
    EXPECT_EQ(hubs[1]["host"], "r2.lab");
}

TEST(ResultAssembly, NoProbesGiveTheHeaderAndNoHops) {
    const auto result = Result({}, {});
    EXPECT_EQ(result["timestamp"], 0);
    EXPECT_EQ(result["testUuid"], "t-1");
    EXPECT_TRUE(result["report"]["hubs"].empty());
    const auto& mtr = result["report"]["mtr"];
    EXPECT_EQ(mtr["dst"], "target.lab");
    EXPECT_EQ(mtr["dstAddress"], "198.18.4.1");
    EXPECT_EQ(mtr["tos"], "0x0");
    EXPECT_EQ(mtr["psize"], "0x00");
    EXPECT_EQ(mtr["bitpattern"], "");
    EXPECT_EQ(mtr["tests"], "3");
    EXPECT_EQ(mtr["options"],
              nlohmann::json({"rttClamping", "useDns", "showIps", "dns", "endVerification"}));
    EXPECT_FALSE(mtr["src"].get<std::string>().empty());
}

}  // namespace
