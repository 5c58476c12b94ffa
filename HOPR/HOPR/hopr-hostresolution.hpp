#pragma once
// Worker threads that turn router addresses into host names while the traces run, so that the
// results can show names without waiting for reverse lookups at the end.

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
    // What Stop does with the addresses still queued.
    enum class Pending { Resolve, Leave };

    // `enabled`: the run's host-name setting, read once for all its threads. `giveUp`, when
    // given, ends the lookup in hand at once when signalled, and every later one before it starts.
    HostResolutionWorker(Shared::Concurrency::ThreadSafeQueue<std::string>& queue,
                         HostNames& hostNames, bool enabled = true,
                         const Shared::Concurrency::Event* giveUp = nullptr);
    // Stops and joins the thread if it runs.
    ~HostResolutionWorker();
    HostResolutionWorker(const HostResolutionWorker&) = delete;
    HostResolutionWorker& operator=(const HostResolutionWorker&) = delete;

    void Start();
    // Signals the stop event and joins. Pending::Resolve: the worker first drains its queue,
    // each lookup given up at "dns-resolution-timeout". Pending::Leave: it gives up the lookup
    // in hand and ends at once, without waiting for a name server; the addresses left keep no
    // name, those found stay.
    void Stop(Pending pending = Pending::Resolve);

    // The thread's start routine.
    static int ThreadEntry(HostResolutionWorker* worker) noexcept;
    // 0 on a normal end, 1 on an unexpected wake-up.
    int StartResolving();
    void Resolve();

private:
    Shared::Concurrency::ThreadSafeQueue<std::string>& queue_;
    HostNames& hostNames_;
    bool enabled_;
    const Shared::Concurrency::Event* giveUp_;
    Shared::Concurrency::Event stopEvent_;
    Shared::Concurrency::Event leaveEvent_;  // signalled by Stop(Pending::Leave)
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
