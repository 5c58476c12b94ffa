#include <algorithm>
#include <chrono>
#include <thread>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace HOPR {

using Log::GuardedLog;
using Shared::WinSock::Ipv4Text;

int ListenerWorker(Shared::WinSock::ICMPListener& listener, ProbeAnswers& answers,
                   ResolutionQueues& resolutionQueues, bool resolutionEnabled) {
    try {
        resolutionEnabled = resolutionEnabled && !resolutionQueues.empty();
        GuardedLog::Info("ICMP worker starting...");
        std::vector<Shared::WinSock::Ipv4Address> seenAddresses;
        std::size_t nextQueue = 0;
        for (;;) {
            const auto response = listener.ReadNextICMPResponse();
            // Only routers that answered a probe of this run are named; anyone can send
            // time-exceeded datagrams from any address.
            const bool matched = answers.Record(response);
            if (!resolutionEnabled || !matched || std::find(seenAddresses.begin(), seenAddresses.end(),
                                                response.from) != seenAddresses.end()) {
                GuardedLog::Info(
                    "Skipping resolution because it's either disabled or has already been "
                    "resolved...");
            } else {
                seenAddresses.push_back(response.from);
                resolutionQueues[nextQueue].Push(Ipv4Text(response.from));
                nextQueue = nextQueue + 1 == resolutionQueues.size() ? 0 : nextQueue + 1;
            }
            GuardedLog::Info(
                "Listener worker {} got ICMP message...\n\tOriginal destination: {}\n\tFrom: "
                "{}\n\tSource port: {}\nDestination port: {}",
                Shared::Util::CurrentThreadId(), Ipv4Text(response.originalDestination),
                Ipv4Text(response.from), response.sourcePort, response.destinationPort);
        }
    } catch (const std::exception& e) {
        // The normal end is the run closing the listener; its full text, with a symbolised
        // stack, would cost more than the whole trace.
        GuardedLog::Info("ICMP worker encountered an error. {}",
                         listener.IsClosed() ? "recvfrom() failed: the listener was closed."
                                             : e.what());
    }
    return 1;
}

void WaitForListenersWarmUp() {
    GuardedLog::Info("Sleeping for {} seconds to allow ICMP worker to initialise",
                     kListenerWarmUpSeconds);
    std::this_thread::sleep_for(std::chrono::seconds(kListenerWarmUpSeconds));
}

}  // namespace HOPR
