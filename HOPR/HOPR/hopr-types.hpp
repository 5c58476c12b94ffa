#pragma once
// The records and shared objects of one run.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "HOPR/HOPR/hopr-cl.hpp"
#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Concurrency/shared.concurrency-slimguardedobject.hpp"
#include "Shared/src/Concurrency/shared.concurrency-threadsafequeue.hpp"
#include "Shared/src/Json/shared.json-configobjects.hpp"
#include "HOPR/HOPR/hopr-probeanswers.hpp"
#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"

namespace HOPR {

enum class TestTypes : std::uint32_t { NetworkTest = 1 };

// One TCP probe.
struct ProbeAttempt {
    std::uint32_t hop = 0;     // the TTL; first hop is 1
    std::uint32_t repeat = 0;  // 0 .. probesPerNode - 1
    std::wstring target;
    std::wstring targetAddress;
    std::int64_t startTime = 0;  // steady clock, ns, just before the socket is opened
    std::int64_t endTime = 0;    // steady clock, ns, when the connect returned; 0 if never tried
    std::uint32_t localPort = 0;
    bool connected = false;
    std::int64_t wallClock = 0;  // system clock, 100-ns ticks since 1970
    std::optional<Shared::WinSock::ICMPTCPResponse> answer;  // kept while the probe was in flight
};

struct TraceOptions {
    std::uint64_t connectionTimeoutOverride = 0;  // seconds; replaces the test's when non-zero
    Shared::Concurrency::Event* exitEvent = nullptr;
    std::uint16_t minPort = 0;  // every probe's port; 0: one the system picks for the trace
    std::uint16_t maxPort = 0;  // the range's last port, for its accounting; 0: no upper bound
};

// A probe joined with the answer that quotes it, if any.
struct ProbeAttemptResponse {
    ProbeAttempt attempt;
    std::optional<Shared::WinSock::ICMPTCPResponse> response;
    std::int64_t roundTripMs = 0;
};

using HopProbeResponses = std::map<std::uint32_t, std::vector<ProbeAttemptResponse>>;
using HostNames = Shared::Concurrency::SlimGuardedObject<std::map<std::string, std::string>>;
using ResultsByTest = std::map<std::uint64_t, std::vector<ProbeAttempt>>;

inline constexpr std::int64_t kSchedulingBoundMs = 60000;

struct AppState {
    CommandLineArguments arguments;
    Shared::Json::TcpTraceParameters parameters;
};

// What one run's threads share. Settings that must agree across threads are read once.
struct RunState {
    RunState(std::uint32_t workerCount, bool resolutionEnabled)
        : resolutionQueues(workerCount),
          hostResolutionEnabled(resolutionEnabled),
          routerNames(resolutionQueues, resolutionEnabled),
          answers(&routerNames) {}

    // The addresses a test probes from: the command line's interface for both, when given.
    const std::wstring& VirtualBind() const {
        return appState.arguments.interfaceAddress.empty() ? virtualAddress
                                                           : appState.arguments.interfaceAddress;
    }
    const std::wstring& PhysicalBind() const {
        return appState.arguments.interfaceAddress.empty() ? physicalAddress
                                                           : appState.arguments.interfaceAddress;
    }

    AppState appState;
    ResolutionQueues resolutionQueues;
    bool hostResolutionEnabled;
    RouterNames routerNames;
    ProbeAnswers answers;
    ResultsByTest results;
    HostNames hostNames;
    std::wstring physicalAddress;
    std::wstring virtualAddress;
};

}  // namespace HOPR
