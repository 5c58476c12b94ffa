#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

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

// The probe with the answer it kept in flight.
ProbeAttempt Answered(ProbeAttempt probe, const std::wstring& from, std::int64_t atMs) {
    probe.answer = ICMPTCPResponse{Ip(L"198.18.4.1"), Ip(from),
                                   static_cast<std::uint16_t>(probe.localPort), 443, atMs * kMs};
    return probe;
}

Shared::Json::TcpTraceTest MakeTest() {
    Shared::Json::TcpTraceTest test;
    test.target = L"target.lab";
    test.resolvedIp = L"198.18.4.1";
    test.testUuid = L"t-1";
    test.probesPerNode = 3;
    return test;
}

nlohmann::json Result(const std::vector<ProbeAttempt>& probes, const HOPR::HostNames& names = {}) {
    const HOPR::ProbeAnswers answers;
    return nlohmann::json::parse(HOPR::GenerateMtrResults(MakeTest(), probes, answers, names));
}

TEST(Correlation, RoundTripsRunToTheKeptAnswerElseToTheConnectOutcome) {
    const std::vector probes{Answered(Probe(1, 1000, 5), L"198.18.1.1", 12),
                             Answered(Probe(1, 1000, 20), L"198.18.1.1", 19),
                             Probe(2, 1000, 10, false, 40)};
    const auto hops = HOPR::BuildHopProbeResponses(probes);
    ASSERT_EQ(hops.at(1).size(), 2u);
    EXPECT_EQ(hops.at(1)[0].response->from, Ip(L"198.18.1.1"));
    EXPECT_EQ(hops.at(1)[0].roundTripMs, 7);
    EXPECT_EQ(hops.at(1)[1].roundTripMs, -1);  // a clock step is kept, not hidden
    EXPECT_FALSE(hops.at(2)[0].response);
    EXPECT_EQ(hops.at(2)[0].roundTripMs, 30);
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
    const auto hubs = Result({
        Answered(Probe(1, 1000, 0), L"198.18.1.1", 30),
        Answered(Probe(1, 1000, 100), L"198.18.1.1", 110),
        Answered(Probe(1, 1000, 200), L"198.18.1.1", 220),
        Probe(1, 1000, 300),
        Probe(2, 1000, 0, true, 25),
        Probe(2, 1000, 100, true, 105),
        Probe(2, 1000, 200, false, 240),
    })["report"]["hubs"];
    ASSERT_EQ(hubs.size(), 2u);
    ExpectStatistics(hubs[0], 30, 10, 20, 20);
    EXPECT_DOUBLE_EQ(hubs[0]["stdev"].get<double>(), 10.0);
    EXPECT_DOUBLE_EQ(hubs[0]["loss"].get<double>(), 25.0);
    ExpectStatistics(hubs[1], 25, 5, 5, 15);
}

TEST(ResultAssembly, OneOfThreeAnsweredAndTheDestinationHop) {
    const auto result =
        Result({Probe(1, 1000, 0), Answered(Probe(1, 1000, 0), L"198.18.1.1", 12), Probe(1, 1000, 0),
                Probe(2, 1000, 0, true, 10), Probe(2, 1000, 0, true, 20), Probe(2, 1000, 0, true, 30)});
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
    const auto result = Result(
        {Probe(1, 1, 0), Probe(1, 1, 0), Probe(1, 1, 0), Answered(Probe(2, 1, 0), L"198.18.2.1", 1)},
        names);
    const auto& hubs = result["report"]["hubs"];
    EXPECT_EQ(hubs[0]["host"], "???");
    EXPECT_EQ(hubs[0]["address"], "0.0.0.0");
    EXPECT_DOUBLE_EQ(hubs[0]["loss"].get<double>(), 100.0);
    EXPECT_EQ(hubs[0]["worst"], 0);
    EXPECT_DOUBLE_EQ(Result({Answered(Probe(1, 1, 0), L"198.18.1.1", 1),
                             Answered(Probe(1, 1, 0), L"198.18.1.1", 1), Probe(1, 1, 0)})
                         ["report"]["hubs"][0]["loss"].get<double>(),
                     33.333335876464844);
    EXPECT_EQ(hubs[1]["host"], "r2.lab");
}

TEST(ResultAssembly, NoProbesGiveTheHeaderAndNoHops) {
    const auto result = Result({});
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
