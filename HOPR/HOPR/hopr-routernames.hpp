#pragma once
// Hands every router that answered a probe of this run to the name workers, once per router,
// round robin over their queues. Answers come from several threads: listener threads, or on
// Linux the traces themselves.

#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "Shared/src/Concurrency/shared.concurrency-threadsafequeue.hpp"
#include "Shared/src/WinSock/shared.winsock-systemcalls.hpp"

namespace HOPR {

using ResolutionQueues = std::vector<Shared::Concurrency::ThreadSafeQueue<std::string>>;

class RouterNames {
public:
    // Disabled, or without queues, it hands out nothing.
    RouterNames(ResolutionQueues& queues, bool enabled);

    void Offer(Shared::WinSock::Ipv4Address router);

private:
    ResolutionQueues& queues_;
    bool enabled_;
    std::mutex mutex_;
    std::set<Shared::WinSock::Ipv4Address> seen_;
    std::size_t nextQueue_ = 0;
};

}  // namespace HOPR
