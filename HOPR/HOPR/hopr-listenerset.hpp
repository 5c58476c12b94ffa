#pragma once
// The run's ICMP listeners and their reading threads, as one object: constructing it binds a
// listener per address and starts its thread; Stop() or destruction closes and joins them.

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "HOPR/HOPR/hopr-types.hpp"

namespace HOPR {

class ListenerSet {
public:
    // One listener per address, in order; an address equal to an earlier one is skipped.
    ListenerSet(const std::vector<std::wstring>& addresses, RunState& run,
                Shared::WinSock::SystemCalls& calls = Shared::WinSock::PlatformCalls());
    ~ListenerSet();
    ListenerSet(const ListenerSet&) = delete;
    ListenerSet& operator=(const ListenerSet&) = delete;

    // Closes every listener, which ends its thread, then joins the threads in order.
    void Stop() noexcept;

private:
    std::vector<std::unique_ptr<Shared::WinSock::ICMPListener>> listeners_;
    std::vector<std::thread> threads_;
};

}  // namespace HOPR
