#include "HOPR/HOPR/hopr-listenerset.hpp"

#include <algorithm>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"

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
void ListenerSet::Start(ProbeAnswers& answers, const Shared::Concurrency::Event& stop) {
    try {
        for (auto& listener : listeners_) {
            receiving_.push_back(std::make_unique<Shared::Concurrency::Event>(true));
            threads_.emplace_back(ListenerWorker, std::ref(*listener), std::ref(answers),
                                  std::ref(*receiving_.back()));
        }
    } catch (...) {
        Stop();
        throw;
    }
    for (const auto& receiving : receiving_) {
        if (Shared::Concurrency::WaitFor({receiving->Handle(), stop.Handle()}, false,
                                         Shared::Concurrency::kInfinite, false) != 0) {
            return;
        }
    }
    Log::GuardedLog::Info("ICMP workers are receiving");
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
