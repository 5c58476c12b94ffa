#pragma once
// Answers as a run records them: every probe begins, then the listeners record the answers in
// capture order.

#include <memory>
#include <vector>

#include "HOPR/HOPR/hopr-probeanswers.hpp"
#include "HOPR/HOPR/hopr-types.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace TestSupport {

inline std::unique_ptr<HOPR::ProbeAnswers> Recorded(
    const std::vector<HOPR::ProbeAttempt>& probes,
    const std::vector<Shared::WinSock::ICMPTCPResponse>& answers) {
    auto recorded = std::make_unique<HOPR::ProbeAnswers>();
    for (const auto& probe : probes) {
        try {
            recorded->Begin({Shared::WinSock::ParseIpv4Strict(probe.targetAddress),
                             static_cast<std::uint16_t>(probe.localPort)},
                            probe.startTime);
        } catch (const std::exception&) {
            // A target that is no dotted quad never leaves, as in a run.
        }
    }
    for (const auto& answer : answers) {
        recorded->Record(answer);
    }
    return recorded;
}

}  // namespace TestSupport
