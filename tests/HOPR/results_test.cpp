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

// Whole hubs as the agent reads them; "loss" is single precision on purpose.
TEST(ResultAssembly, HopsCarryStatisticsFromDistinctSamplesAndTheirRoutersNames) {
    HOPR::HostNames names;
    names.WriteExclusive([](auto& map) { map["198.18.2.1"] = "r2.lab"; });
    // Out of order, so that the largest, the smallest, the last sent and the last answered
    // sample are four different probes.
    const auto result = Result({Answered(Probe(1, 1, 0), L"198.18.1.1", 30),
                                Answered(Probe(1, 1, 100), L"198.18.1.1", 110),
                                Answered(Probe(1, 1, 200), L"198.18.1.1", 220), Probe(1, 1, 300),
                                Probe(2, 1, 0), Answered(Probe(2, 1, 0), L"198.18.2.1", 12),
                                Probe(2, 1, 0), Probe(3, 1, 0), Probe(3, 1, 0),
                                Probe(4, 1, 0, true, 25), Probe(4, 1, 100, true, 105),
                                Probe(4, 1, 200, true, 215), Probe(4, 1, 300, false, 340)},
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
    EXPECT_EQ(result["testUuid"], "t-1");
    auto mtr = result["report"]["mtr"];
    EXPECT_FALSE(mtr["src"].get<std::string>().empty());
    mtr.erase("src");
    EXPECT_EQ(mtr, nlohmann::json::parse(R"({"dst": "target.lab", "dstAddress": "198.18.4.1",
        "tos": "0x0", "psize": "0x00", "bitpattern": "", "tests": "3", "label": "",
        "options": ["rttClamping", "useDns", "showIps", "dns", "endVerification"]})"));
    EXPECT_EQ(Result({})["timestamp"], 0);
}

}  // namespace
