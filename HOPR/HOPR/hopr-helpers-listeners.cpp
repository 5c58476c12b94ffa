#include <algorithm>
#include <chrono>
#include <thread>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace HOPR {

using Log::GuardedLog;
using Shared::Util::ConvertErrorString;

int ListenerWorker(Shared::WinSock::ICMPListener& listener, ResponseQueue& responses,
                   ResponseCounts& responseCounts, ResolutionQueues& resolutionQueues) {
    try {
        const bool resolutionEnabled = Shared::System::AgentSettings::IsHostResolutionEnabled() &&
                                       !resolutionQueues.empty();
        GuardedLog::Info("ICMP worker starting...");
        std::vector<std::wstring> seenAddresses;
        std::size_t nextQueue = 0;
        for (;;) {
            auto response = listener.ReadNextICMPResponse();
            responses.Push(response);
            responseCounts.FindOrInsert(response.originalDestination, 0u).fetch_add(1);
            if (!resolutionEnabled || std::find(seenAddresses.begin(), seenAddresses.end(),
                                                response.from) != seenAddresses.end()) {
                GuardedLog::Info(
                    "Skipping resolution because it's either disabled or has already been "
                    "resolved...");
            } else {
                seenAddresses.push_back(response.from);
                resolutionQueues[nextQueue].Push(Shared::Util::ConvertStringType(response.from));
                nextQueue = nextQueue + 1 == resolutionQueues.size() ? 0 : nextQueue + 1;
            }
            GuardedLog::Info(
                "Listener worker {} got ICMP message...\n\tOriginal destination: {}\n\tFrom: "
                "{}\n\tSource port: {}\nDestination port: {}",
                Shared::Util::CurrentThreadId(), ConvertErrorString(response.originalDestination),
                ConvertErrorString(response.from), response.sourcePort, response.destinationPort);
        }
    } catch (const std::exception& e) {
        // The normal end: the run closed the listener to stop this thread.
        GuardedLog::Info("ICMP worker encountered an error. {}", e.what());
    }
    return 1;
}

void CreateListenerThreads(ResponseQueue& responses, Shared::WinSock::ICMPListener& firstListener,
                           Shared::WinSock::ICMPListener& secondListener, std::thread& firstThread,
                           std::thread& secondThread, ResponseCounts& responseCounts,
                           ResolutionQueues& resolutionQueues, bool singleListener) {
    firstThread = std::thread([&] {
        ListenerWorker(firstListener, responses, responseCounts, resolutionQueues);
    });
    if (!singleListener) {
        secondThread = std::thread([&] {
            ListenerWorker(secondListener, responses, responseCounts, resolutionQueues);
        });
    }
    // The raw sockets must be receiving before the first probe leaves.
    GuardedLog::Info("Sleeping for {} seconds to allow ICMP worker to initialise",
                     kListenerWarmUpSeconds);
    std::this_thread::sleep_for(std::chrono::seconds(kListenerWarmUpSeconds));
}

}  // namespace HOPR
