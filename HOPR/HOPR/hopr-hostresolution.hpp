#pragma once
// Worker threads that turn router addresses into host names while the traces run, so that the
// results can show names without waiting for reverse lookups at the end.

#include <string>
#include <thread>

#include "HOPR/HOPR/hopr-types.hpp"

namespace HOPR::HostResolution {

// Reverse lookup; the address text itself when there is no name or the lookup fails.
std::string GetHostName(const std::string& address);

class HostResolutionWorker {
public:
    // `enabled`: the run's host-name setting, read once for all its threads.
    HostResolutionWorker(Shared::Concurrency::ThreadSafeQueue<std::string>& queue,
                         HostNames& hostNames, bool enabled = true);
    // Stops and joins the thread if it runs.
    ~HostResolutionWorker();
    HostResolutionWorker(const HostResolutionWorker&) = delete;
    HostResolutionWorker& operator=(const HostResolutionWorker&) = delete;

    void Start();
    // Signals the stop event and joins; the worker first drains its queue.
    void Stop();

    // The thread's start routine.
    static int ThreadEntry(HostResolutionWorker* worker) noexcept;
    // 0 on a normal end, 1 on an unexpected wake-up.
    int StartResolving();
    void Resolve();

private:
    Shared::Concurrency::ThreadSafeQueue<std::string>& queue_;
    HostNames& hostNames_;
    bool enabled_;
    Shared::Concurrency::Event stopEvent_;
    unsigned resolvedCount_ = 0;
    std::thread thread_;
};

}  // namespace HOPR::HostResolution
