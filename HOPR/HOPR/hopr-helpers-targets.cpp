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
        const auto first = Shared::Concurrency::TerminationRequested()
                               ? std::nullopt
                               : FirstAddress(tests[i], resolve);
        // The tests not looked up are kept untraced, so that each still gets its result.
        if (!first && Shared::Concurrency::TerminationRequested()) {
            GuardedLog::Info("Asked to terminate: the remaining {} tests are not looked up.",
                             tests.size() - i);
            kept.insert(kept.end(), tests.begin() + static_cast<std::ptrdiff_t>(i), tests.end());
            break;
        }
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
