#include "HOPR/HOPR/hopr-hostresolution.hpp"

#include "Shared/src/Concurrency/shared.concurrency-abandonable.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"

namespace HOPR::HostResolution {

using Log::GuardedLog;

std::string GetHostName(const std::string& address, std::uint32_t timeoutMs,
                        const std::vector<Shared::Raii::NativeHandle>& giveUpOn) {
    Shared::Concurrency::AbandonableOutcome<detail::ReverseLookupOutcome> outcome;
    try {
        outcome = Shared::Concurrency::CallAbandonable<detail::ReverseLookupOutcome>(
            [address] { return detail::ReverseLookup(address); }, timeoutMs, giveUpOn);
    } catch (const std::exception& e) {
        GuardedLog::Warn("Failed to resolve IP to name: {}", e.what());
        return address;
    }
    if (!outcome.value) {
        if (!outcome.givenUp) {
            GuardedLog::Warn("Failed to resolve IP to name: no answer for {} within {} ms.",
                             address, timeoutMs);
        }
        return address;
    }
    if (outcome.value->failedCall != nullptr) {
        GuardedLog::Warn("Failed to resolve IP to name: {}() failed with {:#X}.",
                         outcome.value->failedCall, outcome.value->code);
        return address;
    }
    return outcome.value->name;
}

}  // namespace HOPR::HostResolution
