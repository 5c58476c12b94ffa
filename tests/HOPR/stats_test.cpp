#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "tests/support/recorded_answers.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace {

using HOPR::ProbeAttempt;
using Shared::WinSock::ICMPTCPResponse;

constexpr std::int64_t kMs = 1'000'000;
constexpr const wchar_t* kTarget = L"198.18.4.1";

ProbeAttempt Probe(std::uint32_t hop, std::uint32_t port, std::int64_t startMs,
                   std::int64_t endMs = 0, bool connected = false) {
    ProbeAttempt probe;
    probe.hop = hop;
    probe.target = L"target.lab";
    probe.targetAddress = kTarget;
    probe.startTime = startMs * kMs;
    probe.endTime = endMs * kMs;
    probe.localPort = port;
    probe.connected = connected;
    return probe;
}

ICMPTCPResponse Answer(std::uint16_t port, std::int64_t atMs) {
    using Shared::WinSock::ParseIpv4Strict;
    return {ParseIpv4Strict(kTarget), ParseIpv4Strict(L"198.18.1.1"), port, 443, atMs * kMs};
}

nlohmann::json Hubs(const std::vector<ProbeAttempt>& probes,
                    const std::vector<ICMPTCPResponse>& answers) {
    Shared::Json::TcpTraceTest test;
    test.target = L"target.lab";
    test.resolvedIp = kTarget;
    return nlohmann::json::parse(HOPR::GenerateMtrResults(
        test, probes, *TestSupport::Recorded(probes, answers), {}))["report"]["hubs"];
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
    const auto hubs = Hubs(
        {
            Probe(1, 1000, 0), Probe(1, 1001, 100), Probe(1, 1002, 200), Probe(1, 1003, 300),
            Probe(2, 1004, 0, 25, true), Probe(2, 1005, 100, 105, true), Probe(2, 1006, 200, 240),
        },
        {Answer(1000, 30), Answer(1001, 110), Answer(1002, 220)});
    ASSERT_EQ(hubs.size(), 2u);
    ExpectStatistics(hubs[0], 30, 10, 20, 20);
    EXPECT_DOUBLE_EQ(hubs[0]["stdev"].get<double>(), 10.0);
    EXPECT_DOUBLE_EQ(hubs[0]["loss"].get<double>(), 25.0);
    ExpectStatistics(hubs[1], 25, 5, 5, 15);
}

TEST(HopStatistics, AnAnswerCapturedBeforeItsProbeIsNoSample) {
    const auto hubs = Hubs({Probe(1, 1000, 50), Probe(1, 1001, 100)},
                           {Answer(1000, 48), Answer(1001, 112)});
    ASSERT_EQ(hubs.size(), 1u);
    ExpectStatistics(hubs[0], 12, 12, 12, 12);
    EXPECT_DOUBLE_EQ(hubs[0]["loss"].get<double>(), 50.0);
}

}  // namespace
