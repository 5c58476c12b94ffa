#include "HOPR/HOPR/hopr-listenerset.hpp"

#include <algorithm>

#include "HOPR/HOPR/hopr-helpers.hpp"

namespace HOPR {

ListenerSet::ListenerSet(const std::vector<std::wstring>& addresses,
                         Shared::WinSock::SystemCalls& calls) {
    for (auto address = addresses.begin(); address != addresses.end(); ++address) {
        if (std::find(addresses.begin(), address, *address) == address) {
            listeners_.push_back(std::make_unique<Shared::WinSock::ICMPListener>(calls));
            listeners_.back()->Bind(*address);
        }
    }
}

ListenerSet::~ListenerSet() {
    Stop();
}

// Every listener is bound before the first thread starts, as a failed bind ends the run.
void ListenerSet::Start(RunState& run) {
    try {
        for (auto& listener : listeners_) {
            threads_.emplace_back(ListenerWorker, std::ref(*listener), std::ref(run.answers),
                                  std::ref(run.resolutionQueues), run.hostResolutionEnabled);
        }
    } catch (...) {
        Stop();
        throw;
    }
}

void ListenerSet::Stop() noexcept {
    for (auto& listener : listeners_) {
        listener->Close();
    }
    for (auto& thread : threads_) {
        if (thread.joinable()) {
            thread.join();
        }
    }
}

}  // namespace HOPR
