#include <algorithm>
#include <optional>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-termination.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "Shared/src/System/shared.system-hostresolver.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace HOPR {
namespace {

using Log::GuardedLog;
using Shared::Util::ConvertErrorString;

// The first address of the test's target; nothing, with a log line, when there is none.
std::optional<std::wstring> FirstAddress(const Shared::Json::TcpTraceTest& test,
                                         const Resolver& resolve) {
    const auto uuid = ConvertErrorString(test.testUuid);
    const auto target = ConvertErrorString(test.target);
    try {
        const auto timeoutMs = Shared::System::AgentSettings::DnsResolutionTimeoutMs();
        const auto addresses = resolve ? resolve(test.target, timeoutMs)
                                       : Shared::System::HostResolver::Resolve(test.target,
                                                                               timeoutMs);
        if (!addresses.empty()) {
            return addresses.front();
        }
        GuardedLog::Info("Found no IPs for test {} against target {}. This test will be skipped.",
                         uuid, target);
    } catch (const std::exception& e) {
        GuardedLog::Error(
            "Failed processing IP for test {} against target {}. This test will be skipped. "
            "Error: {}",
            uuid, target, e.what());
    }
    return std::nullopt;
}

}  // namespace

std::vector<Shared::Json::TcpTraceTest> RemoveResolvedDuplicates(
    const std::vector<Shared::Json::TcpTraceTest>& tests, const Resolver& resolve) {
    std::vector<Shared::Json::TcpTraceTest> kept;
    std::vector<std::wstring> seenAddresses;
    for (std::size_t i = 0; i < tests.size(); ++i) {
        // Tests not looked up stay out, as unresolved ones do: none of them has been traced.
        if (Shared::Concurrency::TerminationRequested()) {
            GuardedLog::Info("Asked to terminate: the remaining {} tests are skipped.",
                             tests.size() - i);
            break;
        }
        const auto first = FirstAddress(tests[i], resolve);
        if (!first) {
            continue;
        }
        if (std::find(seenAddresses.begin(), seenAddresses.end(), *first) !=
            seenAddresses.end()) {
            GuardedLog::Info("Ignoring duplicate test {}", ConvertErrorString(tests[i].testUuid));
            continue;
        }
        kept.push_back(tests[i]);
        seenAddresses.push_back(*first);
        kept.back().resolvedIp = *first;
    }
    return kept;
}

}  // namespace HOPR
