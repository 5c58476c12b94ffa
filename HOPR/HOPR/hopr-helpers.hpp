#pragma once
// The program's own logic, split by topic into hopr-helpers-*.cpp.

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <google/protobuf/repeated_ptr_field.h>

#include "HOPR/HOPR/hopr-types.hpp"
#include "Shared/src/System/shared.system-interfaces.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"
#include "proto/mtrtestresult.pb.h"

namespace HOPR {

// ---- trace (hopr-helpers-trace.cpp)

// Probes one target hop by hop with TCP connects at rising TTL, every probe from one local
// port. A probe ends at its connect outcome, its own ICMP answer (from a listener, or where the
// system hands it over, from the probe's socket), its time-out or the exit event. Stops after
// the hop where a connect succeeded, after maxUnknown silent hops in a row, at hop 255, when
// the port range's accounting is used up or the exit event is signalled. Never throws a
// standard exception.
std::vector<ProbeAttempt> Trace(const std::wstring& virtualAddress,
                                const std::wstring& physicalAddress,
                                const Shared::Json::TcpTraceTest& test, ProbeAnswers& answers,
                                const TraceOptions& options,
                                Shared::WinSock::SystemCalls& calls =
                                    Shared::WinSock::PlatformCalls());

// ---- listener threads (hopr-helpers-listeners.cpp)

// The body of a listener thread: signals `receiving` once it reads, then reads answers until
// its listener is closed.
int ListenerWorker(Shared::WinSock::ICMPListener& listener, ProbeAnswers& answers,
                   Shared::Concurrency::Event& receiving);

// ---- targets (hopr-helpers-targets.cpp)

using Resolver = std::function<std::vector<std::wstring>(const std::wstring&, std::uint32_t)>;

// Keeps the tests whose target resolves, minus those whose first address an earlier test has.
std::vector<Shared::Json::TcpTraceTest> RemoveResolvedDuplicates(
    const std::vector<Shared::Json::TcpTraceTest>& tests, const Resolver& resolve = {});

// ---- interfaces (hopr-helpers-interfaces.cpp)

void LogLocalInterfaces(const std::vector<Shared::System::InterfaceDefaultGateway>& adapters);

// Physical: the first adapter with no on-link ("0.0.0.0") gateway; virtual: the first with
// one, else the physical. Throws when there is no physical adapter.
void GetInterfaceAddresses(const std::vector<Shared::System::InterfaceDefaultGateway>& adapters,
                           std::wstring& physicalAddress, std::wstring& virtualAddress);

// ---- VPN gate (hopr-helpers-vpn.cpp)

bool ShouldRun(const Shared::Json::TcpTraceTest& test);

// ---- test runs (hopr-helpers-serialised.cpp)

// What one test's thread is given; the run outlives every thread that holds it.
struct TestContext {
    RunState& run;
    std::uint64_t index;  // into the test list and the results
    Shared::Concurrency::Event* exitEvent;
    std::uint16_t firstPort;
    std::uint16_t lastPort;
    std::optional<std::chrono::steady_clock::time_point> startAt = {};  // concurrent runs only
};

// VPN gate, scheduled start, then the trace into the result slot. The exit event, when there
// is one, also ends the wait for the scheduled start.
void RunTestBody(const TestContext& context) noexcept;

// The port a serialised run's next test starts from: the range is accounted one port per probe
// sent, in 32 bits so that it never wraps back to low ports; nothing once it is spent (with no
// last port, once the ports are). Port 0, the system's choice, is never spent.
std::optional<std::uint32_t> NextTestPort(std::uint32_t currentPort, std::size_t probesSent,
                                          std::uint16_t maxPort);

// The serialised run's exit event; null, with the failure logged, when it cannot be opened.
std::unique_ptr<Shared::Concurrency::Event> OpenExitEvent(const std::wstring& name);

// Ends early, like at its exit event, when `termination` is signalled.
void RunSerialised(RunState& run, const Shared::Concurrency::Event& exitEvent,
                   const Shared::Concurrency::Event& termination);

// ---- results (hopr-helpers-results.cpp, hopr-helpers-dump.cpp)

// Every probe with the answer it kept in flight, by hop.
HopProbeResponses BuildHopProbeResponses(const std::vector<ProbeAttempt>& probes);

void ProcessProbesPerHop(
    google::protobuf::RepeatedPtrField<AgentProtobuf::MtrTestResult_Hub>& hubs,
    const HopProbeResponses& hopProbeResponses, const HostNames& hostNames);

// The test's result message as JSON text.
std::string GenerateMtrResults(const Shared::Json::TcpTraceTest& test,
                               const std::vector<ProbeAttempt>& probes,
                               const ProbeAnswers& answers, const HostNames& hostNames);

// Dumps are costly to build; skip them when debug lines would be dropped anyway.
bool DebugEnabled();
void Dump(const std::wstring& target,
          const std::vector<Shared::WinSock::ICMPTCPResponse>& filteredResponses);
void Dump(const HopProbeResponses& hopProbeResponses);

}  // namespace HOPR
