// Debug dumps of the correlation, one log line per record, for support cases.

#include <spdlog/spdlog.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace HOPR {
namespace {

using Log::GuardedLog;
using Shared::Util::ConvertErrorString;
using Shared::WinSock::Ipv4Text;

void DumpEntry(const ProbeAttemptResponse& entry) {
    const auto& attempt = entry.attempt;
    GuardedLog::Debug("====== Logging attempt hop {} attempt {} ======", attempt.hop,
                      attempt.repeat);
    GuardedLog::Debug(
        "\nHop: {}\nAttempt: {}\nTarget: {}\nTargetIpV4: {}\nLocalPort: {}\nConnectedSuccessfully: {}",
        attempt.hop, attempt.repeat, ConvertErrorString(attempt.target),
        ConvertErrorString(attempt.targetAddress), attempt.localPort, attempt.connected);
    GuardedLog::Debug("====== End logging attempt hop {} attempt {} ======", attempt.hop,
                      attempt.repeat);
    if (entry.response) {
        const auto& r = *entry.response;
        GuardedLog::Debug("Logging ICMP response");
        GuardedLog::Debug("Original destination:{}\nFrom:{}\nSource port:{}\nDestination Port:{}",
                          Ipv4Text(r.originalDestination), Ipv4Text(r.from),
                          r.sourcePort, r.destinationPort);
        GuardedLog::Debug("End Logging ICMP response");
    } else if (attempt.connected) {
        GuardedLog::Debug("This was a successful connection attempt on port {}", attempt.localPort);
    } else {
        GuardedLog::Debug("No response on hop {}, attempt {}", attempt.hop, attempt.repeat);
    }
}

}  // namespace

bool DebugEnabled() {
    const auto* logger = spdlog::default_logger_raw();
    return logger != nullptr && logger->should_log(spdlog::level::debug);
}

void Dump(const std::wstring& target,
          const std::vector<Shared::WinSock::ICMPTCPResponse>& filteredResponses) {
    if (!DebugEnabled()) {
        return;
    }
    GuardedLog::Debug("========== Dumping filteredResponses ==========");
    for (const auto& r : filteredResponses) {
        GuardedLog::Debug(
            "\nTarget:{}\nOriginal destination:{}\nFrom:{}\nSource port:{}\nDestination Port:{}",
            ConvertErrorString(target), Ipv4Text(r.originalDestination), Ipv4Text(r.from),
            r.sourcePort, r.destinationPort);
    }
    GuardedLog::Debug("========== End Dumping filteredResponses ==========");
}

void Dump(const HopProbeResponses& hopProbeResponses) {
    if (!DebugEnabled()) {
        return;
    }
    GuardedLog::Debug("========== Dumping hopProbeResponses ==========");
    for (const auto& [hop, entries] : hopProbeResponses) {
        GuardedLog::Debug("====== HOP {} ======", hop);
        for (const auto& entry : entries) {
            DumpEntry(entry);
        }
        GuardedLog::Debug("====== END HOP {} ======", hop);
    }
    GuardedLog::Debug("========== End Dumping hopProbeResponses ==========");
}

}  // namespace HOPR
