#pragma once
// The program's own logic, split by topic into hopr-helpers-*.cpp.

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <google/protobuf/repeated_ptr_field.h>

#include "HOPR/HOPR/hopr-types.hpp"
#include "Shared/src/System/shared.system-interfaces.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"
#include "proto/mtrtestresult.pb.h"

namespace HOPR {

// ---- trace (hopr-helpers-trace.cpp)

using SocketFactory =
    std::function<std::unique_ptr<Shared::WinSock::Socket>(const std::wstring&, std::uint32_t)>;

std::unique_ptr<Shared::WinSock::Socket> MakeSocket(const std::wstring& address,
                                                    std::uint32_t port);

// Probes one target hop by hop with TCP connects at rising TTL from successive local ports.
// Stops after the hop where a connect succeeded, after maxUnknown silent hops in a row, when
// the port range is used up or the exit event is signalled. Never throws a standard exception.
std::vector<ProbeAttempt> Trace(const std::wstring& virtualAddress,
                                const std::wstring& physicalAddress,
                                const Shared::Json::TcpTraceTest& test,
                                ResponseCounts& responseCounts, const TraceOptions& options,
                                const SocketFactory& makeSocket = MakeSocket);

// ---- listener threads (hopr-helpers-listeners.cpp)

inline constexpr int kListenerWarmUpSeconds = 5;

// The body of a listener thread: reads answers until its listener is closed.
int ListenerWorker(Shared::WinSock::ICMPListener& listener, ResponseQueue& responses,
                   ResponseCounts& responseCounts, ResolutionQueues& resolutionQueues);

void CreateListenerThreads(ResponseQueue& responses, Shared::WinSock::ICMPListener& firstListener,
                           Shared::WinSock::ICMPListener& secondListener, std::thread& firstThread,
                           std::thread& secondThread, ResponseCounts& responseCounts,
                           ResolutionQueues& resolutionQueues, bool singleListener);

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

struct TestContext {
    const Shared::Json::TcpTraceTest& test;
    const AppState& appState;
    std::int64_t schedulingBoundMs;
    std::vector<ProbeAttempt>& resultSlot;
    const std::wstring& virtualAddress;
    const std::wstring& physicalAddress;
    ResponseCounts& responseCounts;
    Shared::Concurrency::Event* exitEvent;
    std::uint16_t firstPort;
    std::uint16_t lastPort;
};

// VPN gate, scheduled start (concurrent runs only), then the trace into the result slot.
void RunTestBody(const TestContext& context) noexcept;

void RunSerialised(AppState& appState, const std::wstring& virtualAddress,
                   const std::wstring& physicalAddress, ResultsByTest& results,
                   ResponseCounts& responseCounts, ResponseQueue& responses, HostNames& hostNames);

// ---- results (hopr-helpers-results.cpp, hopr-helpers-dump.cpp)

// Every probe with the first captured answer that quotes its destination and local port.
HopProbeResponses BuildHopProbeResponses(
    const std::vector<ProbeAttempt>& probes,
    const std::vector<Shared::WinSock::ICMPTCPResponse>& filteredResponses);

void ProcessProbesPerHop(
    google::protobuf::RepeatedPtrField<AgentProtobuf::MtrTestResult_Hub>& hubs,
    const HopProbeResponses& hopProbeResponses, const HostNames& hostNames);

// The run's answers by quoted destination (exact text), each list in capture order.
using ResponsesByDestination =
    std::map<std::wstring, std::vector<Shared::WinSock::ICMPTCPResponse>>;

ResponsesByDestination IndexByDestination(
    const std::vector<Shared::WinSock::ICMPTCPResponse>& responses);

// The test's result message as JSON text.
std::string GenerateMtrResults(const Shared::Json::TcpTraceTest& test,
                               const std::vector<ProbeAttempt>& probes,
                               const std::vector<Shared::WinSock::ICMPTCPResponse>& responses,
                               const HostNames& hostNames);
// The same with the answers indexed once per run, so that each test costs the same however
// many answers the run holds.
std::string GenerateMtrResults(const Shared::Json::TcpTraceTest& test,
                               const std::vector<ProbeAttempt>& probes,
                               const ResponsesByDestination& responses,
                               const HostNames& hostNames);

void Dump(const std::wstring& target,
          const std::vector<Shared::WinSock::ICMPTCPResponse>& filteredResponses);
void Dump(const HopProbeResponses& hopProbeResponses);

}  // namespace HOPR
