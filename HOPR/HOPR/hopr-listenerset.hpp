#pragma once
// The run's ICMP listeners and their reading threads, where answers come from raw listeners:
// constructing it binds a listener per address, Start() starts their threads; Stop() or
// destruction closes and joins them.

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "HOPR/HOPR/hopr-types.hpp"

namespace HOPR {

class ListenerSet {
public:
    // One listener per address, in order; an address equal to an earlier one is skipped.
    // Starts no thread, so that privileges can be given up between the bind and the start.
    ListenerSet(const std::vector<std::wstring>& addresses,
                Shared::WinSock::SystemCalls& calls = Shared::WinSock::PlatformCalls());
    ~ListenerSet();
    ListenerSet(const ListenerSet&) = delete;
    ListenerSet& operator=(const ListenerSet&) = delete;

    // A reading thread per listener, feeding the run's answers. Returns once every thread
    // reads, or `stop` is signalled first.
    void Start(ProbeAnswers& answers, const Shared::Concurrency::Event& stop);

    // Closes every listener, which ends its thread, then joins the threads in order.
    void Stop() noexcept;

private:
    std::vector<std::unique_ptr<Shared::WinSock::ICMPListener>> listeners_;
    std::vector<std::thread> threads_;
    std::vector<std::unique_ptr<Shared::Concurrency::Event>> receiving_;
};

}  // namespace HOPR
