#pragma once
// Worker threads that turn router addresses into host names while the traces run, so that the
// results can show names without waiting for reverse lookups at the end.

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "HOPR/HOPR/hopr-types.hpp"

namespace HOPR::HostResolution {

// Reverse lookup; the address text itself when there is no name, the lookup fails, no answer
// comes within `timeoutMs`, or one of `giveUpOn` is signalled first. A lookup given up goes on
// alone on its own thread and its answer is dropped.
std::string GetHostName(const std::string& address, std::uint32_t timeoutMs,
                        const std::vector<Shared::Raii::NativeHandle>& giveUpOn = {});

class HostResolutionWorker {
public:
    using Clock = std::chrono::steady_clock;

    // `enabled`: the run's host-name setting, read once for all its threads.
    HostResolutionWorker(Shared::Concurrency::ThreadSafeQueue<std::string>& queue,
                         HostNames& hostNames, bool enabled = true);
    // Gives up what is left at once and joins the thread if it runs.
    ~HostResolutionWorker();
    HostResolutionWorker(const HostResolutionWorker&) = delete;
    HostResolutionWorker& operator=(const HostResolutionWorker&) = delete;

    void Start();
    // Lets the worker drain its queue until `deadline`, or until `interrupt` is signalled; then
    // the look-up in hand is given up, the addresses left keep no name, and the thread is joined.
    // A name server that never answers cannot hold the caller past the deadline.
    void Stop(Clock::time_point deadline, const Shared::Concurrency::Event* interrupt = nullptr);

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
    Shared::Concurrency::Event giveUpEvent_;
    Shared::Concurrency::Event ended_;
    unsigned resolvedCount_ = 0;
    std::thread thread_;
};

namespace detail {

struct ReverseLookupOutcome {
    const char* failedCall = nullptr;  // the system call that failed; null on success
    unsigned code = 0;                 // its error code
    std::string name;
};

// The blocking lookup itself. It may outlive its caller, so it does not log.
ReverseLookupOutcome ReverseLookup(const std::string& address);

}  // namespace detail

}  // namespace HOPR::HostResolution
