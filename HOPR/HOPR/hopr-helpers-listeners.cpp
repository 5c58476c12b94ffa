#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace HOPR {

using Log::GuardedLog;
using Shared::WinSock::Ipv4Text;

int ListenerWorker(Shared::WinSock::ICMPListener& listener, ProbeAnswers& answers,
                   Shared::Concurrency::Event& receiving) {
    try {
        GuardedLog::Info("ICMP worker starting...");
        // The socket was bound before this thread started: what came since waits in its buffer.
        receiving.Signal();
        for (;;) {
            const auto response = listener.ReadNextICMPResponse();
            // Only routers that answered a probe in flight are named; anyone can send
            // time-exceeded datagrams from any address.
            if (!answers.Record(response)) {
                GuardedLog::Info(
                    "Skipping resolution because it's either disabled or has already been "
                    "resolved...");
            }
            GuardedLog::Info(
                "Listener worker {} got ICMP message...\n\tOriginal destination: {}\n\tFrom: "
                "{}\n\tSource port: {}\nDestination port: {}",
                Shared::Util::CurrentThreadId(), Ipv4Text(response.originalDestination),
                Ipv4Text(response.from), response.sourcePort, response.destinationPort);
        }
    } catch (const std::exception& e) {
        // The normal end is the run closing the listener; its full text, with a symbolised
        // stack, would cost more than the whole trace. A listener that fails on its own leaves
        // its interface's hops unanswered for the rest of the run: worth a warning.
        if (listener.IsClosed()) {
            GuardedLog::Info("ICMP worker encountered an error. recvfrom() failed: the listener "
                             "was closed.");
        } else {
            GuardedLog::Warn("ICMP worker encountered an error. {}", e.what());
        }
    }
    return 1;
}

}  // namespace HOPR
