#include "HOPR/HOPR/hopr-hostresolution.hpp"

#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace HOPR::HostResolution {

using Log::GuardedLog;

HostResolutionWorker::HostResolutionWorker(
    Shared::Concurrency::ThreadSafeQueue<std::string>& queue, HostNames& hostNames, bool enabled)
    : queue_(queue), hostNames_(hostNames), enabled_(enabled), stopEvent_(true),
      giveUpEvent_(true), ended_(true) {}

HostResolutionWorker::~HostResolutionWorker() {
    try {
        Stop(Clock::now());
    } catch (...) {
    }
}

void HostResolutionWorker::Start() {
    thread_ = std::thread(&HostResolutionWorker::ThreadEntry, this);
}

void HostResolutionWorker::Stop(Clock::time_point deadline,
                                const Shared::Concurrency::Event* interrupt) {
    if (!thread_.joinable()) {
        return;
    }
    stopEvent_.Signal();
    std::vector<Shared::Raii::NativeHandle> handles{ended_.Handle()};
    if (interrupt != nullptr) {
        handles.push_back(interrupt->Handle());
    }
    Shared::Concurrency::WaitFor(handles, false, Shared::Concurrency::MillisecondsUntil(deadline),
                                 false);
    giveUpEvent_.Signal();
    thread_.join();
}

int HostResolutionWorker::ThreadEntry(HostResolutionWorker* worker) noexcept {
    int exitCode = 1;
    try {
        exitCode = worker->StartResolving();
    } catch (const std::exception& e) {
        GuardedLog::Error("HostResolutionWorker failed: {}", e.what());
    }
    try {
        worker->ended_.Signal();
    } catch (...) {
    }
    return exitCode;
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
        if (index == 1 || giveUpEvent_.WaitOnEvent(0, false)) {
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
    const auto name = GetHostName(
        address, Shared::System::AgentSettings::DnsResolutionTimeoutMs(), {giveUpEvent_.Handle()});
    GuardedLog::Info("HostResolutionWorker {} resolved {}", Shared::Util::CurrentThreadId(),
                     address);
    const bool inserted = hostNames_.WriteExclusive(
        [&](auto& names) { return names.try_emplace(address, name).second; });
    if (inserted) {
        ++resolvedCount_;
    }
}

}  // namespace HOPR::HostResolution
