#include "HOPR/HOPR/hopr-routernames.hpp"

#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"

namespace HOPR {

RouterNames::RouterNames(ResolutionQueues& queues, bool enabled)
    : queues_(queues), enabled_(enabled && !queues.empty()) {}

void RouterNames::Offer(Shared::WinSock::Ipv4Address router) {
    std::unique_lock lock(mutex_);
    if (!enabled_ || !seen_.insert(router).second) {
        lock.unlock();
        Log::GuardedLog::Info(
            "Skipping resolution because it's either disabled or has already been resolved...");
        return;
    }
    auto& queue = queues_[nextQueue_];
    nextQueue_ = nextQueue_ + 1 == queues_.size() ? 0 : nextQueue_ + 1;
    queue.Push(Shared::WinSock::Ipv4Text(router));
}

}  // namespace HOPR
