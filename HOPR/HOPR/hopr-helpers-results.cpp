#include <algorithm>
#include <cmath>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Protobuf/shared.protobuf-functions.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace HOPR {
namespace {

using Log::GuardedLog;
using Shared::Util::ConvertStringType;

constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::int64_t kTicksPerSecond = 10'000'000;

bool IsAnswered(const ProbeAttemptResponse& entry) {
    return entry.attempt.connected || entry.response.has_value();
}

void SetHopIdentity(AgentProtobuf::MtrTestResult_Hub& hub,
                    const std::vector<ProbeAttemptResponse>& entries, const HostNames& hostNames) {
    const auto connected = std::find_if(entries.begin(), entries.end(),
                                        [](const auto& e) { return e.attempt.connected; });
    if (connected != entries.end()) {
        hub.set_address(ConvertStringType(connected->attempt.targetAddress));
        hub.set_host(ConvertStringType(connected->attempt.target));
        return;
    }
    const auto answered = std::find_if(entries.begin(), entries.end(),
                                       [](const auto& e) { return e.response.has_value(); });
    if (answered == entries.end()) {
        hub.set_address("0.0.0.0");
        hub.set_host("???");
        return;
    }
    const auto address = Shared::WinSock::Ipv4Text(answered->response->from);
    hub.set_address(address);
    hub.set_host(hostNames.ReadShared([&](const auto& names) {
        const auto found = names.find(address);
        return found == names.end() ? address : found->second;
    }));
}

void SetStatistics(AgentProtobuf::MtrTestResult_Hub& hub, const std::vector<std::int64_t>& rtts) {
    const auto [best, worst] = std::minmax_element(rtts.begin(), rtts.end());
    const auto mean = [&] {
        double sum = 0.0;
        for (const auto rtt : rtts) {
            sum += static_cast<double>(rtt);
        }
        return sum / static_cast<double>(rtts.size());
    };
    hub.set_worst(static_cast<double>(*worst));
    hub.set_best(static_cast<double>(*best));
    hub.set_last(static_cast<double>(rtts.back()));
    hub.set_avg(mean());
    if (rtts.size() == 1) {
        hub.set_stdev(0.0);
        return;
    }
    const double m = mean();
    double squares = 0.0;
    for (const auto rtt : rtts) {
        squares += (static_cast<double>(rtt) - m) * (static_cast<double>(rtt) - m);
    }
    hub.set_stdev(std::sqrt(squares / static_cast<double>(rtts.size() - 1)));
}

// Asked once per process: on Linux the fully qualified name may need the resolver, and a run
// of many tests would ask it once per result.
const std::string& LocalMachineName() {
    static const auto name = ConvertStringType(
        Shared::Util::GetHostname(Shared::Util::ComputerNameFormat::DnsFullyQualified));
    return name;
}

void FillHeader(AgentProtobuf::MtrTestResult_Mtr& mtr, const Shared::Json::TcpTraceTest& test) {
    mtr.set_src(LocalMachineName());
    mtr.set_dst(ConvertStringType(test.target));
    mtr.set_dst_address(ConvertStringType(test.resolvedIp));
    mtr.set_tos("0x0");
    mtr.set_psize("64");
    mtr.set_psize("0x00");  // written twice on purpose: the agent reads the second value
    mtr.set_tests(std::to_string(test.probesPerNode));
    mtr.set_label("");
    for (const auto* option : {"rttClamping", "useDns", "showIps", "dns", "endVerification"}) {
        mtr.add_options(option);
    }
}

// The 4 bytes a dotted-decimal address stands for; nothing for any other text.
std::optional<Shared::WinSock::Ipv4Address> WireAddress(const std::wstring& text) {
    try {
        return Shared::WinSock::ParseIpv4Strict(text);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

// The answers the probes kept, in capture order.
std::vector<Shared::WinSock::ICMPTCPResponse> KeptAnswers(const std::vector<ProbeAttempt>& probes) {
    std::vector<Shared::WinSock::ICMPTCPResponse> kept;
    for (const auto& probe : probes) {
        if (probe.answer) {
            kept.push_back(*probe.answer);
        }
    }
    std::stable_sort(kept.begin(), kept.end(),
                     [](const auto& a, const auto& b) { return a.receivedAt < b.receivedAt; });
    return kept;
}

}  // namespace

HopProbeResponses BuildHopProbeResponses(const std::vector<ProbeAttempt>& probes) {
    HopProbeResponses hops;
    for (const auto& probe : probes) {
        ProbeAttemptResponse entry{probe, probe.answer, 0};
        const auto end = entry.response ? entry.response->receivedAt : probe.endTime;
        entry.roundTripMs = (end - probe.startTime) / kNsPerMs;
        hops[probe.hop].push_back(std::move(entry));
    }
    return hops;
}

void ProcessProbesPerHop(google::protobuf::RepeatedPtrField<AgentProtobuf::MtrTestResult_Hub>& hubs,
                         const HopProbeResponses& hopProbeResponses, const HostNames& hostNames) {
    for (const auto& [hop, entries] : hopProbeResponses) {
        if (entries.empty()) {
            GuardedLog::Warn(
                "No ProbeAttemptResponses were detected for hop {}. This is abnormal and may "
                "indicate an error.",
                hop);
            continue;
        }
        auto& hub = *hubs.Add();
        hub.set_count(std::to_string(hop));
        hub.set_sent(static_cast<std::int32_t>(entries.size()));
        SetHopIdentity(hub, entries, hostNames);
        std::vector<std::int64_t> rtts;
        for (const auto& entry : entries) {
            if (IsAnswered(entry)) {
                rtts.push_back(entry.roundTripMs);
            }
        }
        // Single precision on purpose: the agent's dashboards expect these exact values.
        const auto total = static_cast<float>(entries.size());
        const auto lost = total - static_cast<float>(rtts.size());
        hub.set_loss(static_cast<double>(lost / total * 100.0f));
        if (!rtts.empty()) {
            SetStatistics(hub, rtts);
        }
    }
}

std::string GenerateMtrResults(const Shared::Json::TcpTraceTest& test,
                               const std::vector<ProbeAttempt>& probes,
                               const ProbeAnswers& answers, const HostNames& hostNames) {
    AgentProtobuf::MtrTestResult result;
    result.set_network_object_domain_or_ip_index(test.networkObjectDomainOrIpIndex);
    result.set_net_obj_uuid(ConvertStringType(test.netObjUuid));
    result.set_test_uuid(ConvertStringType(test.testUuid));
    result.set_server_type(test.serverType);
    result.set_test_name(ConvertStringType(test.testName));
    result.set_application_name(ConvertStringType(test.applicationName));
    if (probes.empty()) {
        GuardedLog::Warn("Empty probes list on test {}", ConvertStringType(test.testUuid));
    } else {
        result.set_timestamp(static_cast<std::int32_t>(probes.front().wallClock / kTicksPerSecond));
    }
    auto& report = *result.mutable_report();
    FillHeader(*report.mutable_mtr(), test);

    const bool anyConnected = std::any_of(probes.begin(), probes.end(),
                                          [](const ProbeAttempt& p) { return p.connected; });
    std::map<std::wstring, std::vector<ProbeAttempt>> groups;
    for (const auto& probe : probes) {
        groups[probe.targetAddress].push_back(probe);
    }
    for (const auto& [target, groupProbes] : groups) {
        const auto destination = WireAddress(target);
        if (DebugEnabled()) {
            Dump(target, KeptAnswers(groupProbes));
        }
        if ((!destination || answers.CountFor(*destination) == 0) && !anyConnected) {
            GuardedLog::Warn(
                "Found no relevant ICMP responses or successful connections for target {}. The "
                "target may not exist, is unreachable, or the network is down.",
                Shared::Util::ConvertErrorString(target));
        }
        const auto hops = BuildHopProbeResponses(groupProbes);
        Dump(hops);
        ProcessProbesPerHop(*report.mutable_hubs(), hops, hostNames);
    }
    return Shared::Protobuf::GenerateJSONFrom(result, true);
}

}  // namespace HOPR
