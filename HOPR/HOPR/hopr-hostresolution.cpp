#include "HOPR/HOPR/hopr-hostresolution.hpp"

#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace HOPR::HostResolution {

using Log::GuardedLog;

HostResolutionWorker::HostResolutionWorker(
    Shared::Concurrency::ThreadSafeQueue<std::string>& queue, HostNames& hostNames, bool enabled,
    const Shared::Concurrency::Event* giveUp)
    : queue_(queue), hostNames_(hostNames), enabled_(enabled), giveUp_(giveUp), stopEvent_(true),
      leaveEvent_(true) {}

HostResolutionWorker::~HostResolutionWorker() {
    try {
        Stop();
    } catch (...) {
    }
}

void HostResolutionWorker::Start() {
    thread_ = std::thread(&HostResolutionWorker::ThreadEntry, this);
}

void HostResolutionWorker::Stop(Pending pending) {
    if (thread_.joinable()) {
        if (pending == Pending::Leave) {
            leaveEvent_.Signal();
        }
        stopEvent_.Signal();
        thread_.join();
    }
}

int HostResolutionWorker::ThreadEntry(HostResolutionWorker* worker) noexcept {
    try {
        return worker->StartResolving();
    } catch (const std::exception& e) {
        GuardedLog::Error("HostResolutionWorker failed: {}", e.what());
    }
    return 1;
}

int HostResolutionWorker::StartResolving() {
    if (!enabled_) {
        GuardedLog::Warn("HostResolutionThread is exiting early as host resolution is not enabled.");
        return 0;
    }
    const std::vector<Shared::Raii::NativeHandle> handles = {queue_.ItemsWaiting().Handle(),
                                                             stopEvent_.Handle()};
    const auto threadId = Shared::Util::CurrentThreadId();
    for (;;) {
        const auto index =
            Shared::Concurrency::WaitFor(handles, false, Shared::Concurrency::kInfinite, false);
        GuardedLog::Debug("Thread {} woke to do index {}", threadId, index);
        if (index > 1) {
            GuardedLog::Info("Unhandled index {} in HostResolutionWorker {}", index, threadId);
            return 1;
        }
        if (index == 1 || leaveEvent_.WaitOnEvent(0, false)) {
            break;
        }
        Resolve();
    }
    GuardedLog::Info("HostResolutionWorker {} exiting, total resolved: {}", threadId,
                     resolvedCount_);
    return 0;
}

void HostResolutionWorker::Resolve() {
    const auto address = queue_.EraseOne(0);
    const bool known = hostNames_.ReadShared(
        [&](const auto& names) { return names.contains(address); });
    if (known) {
        return;
    }
    // No lock is held across the network lookup.
    std::vector<Shared::Raii::NativeHandle> giveUpOn{leaveEvent_.Handle()};
    if (giveUp_ != nullptr) {
        giveUpOn.push_back(giveUp_->Handle());
    }
    const auto name = GetHostName(
        address, Shared::System::AgentSettings::DnsResolutionTimeoutMs(), giveUpOn);
    GuardedLog::Info("HostResolutionWorker {} resolved {}", Shared::Util::CurrentThreadId(),
                     address);
    const bool inserted = hostNames_.WriteExclusive(
        [&](auto& names) { return names.try_emplace(address, name).second; });
    if (inserted) {
        ++resolvedCount_;
    }
}

}  // namespace HOPR::HostResolution
