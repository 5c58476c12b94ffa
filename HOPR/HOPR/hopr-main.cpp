#include "HOPR/HOPR/hopr-main.hpp"

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>

#include <spdlog/spdlog.h>

#include "HOPR/HOPR/hopr-cl.hpp"
#include "HOPR/HOPR/hopr-helpers.hpp"
#include "HOPR/HOPR/hopr-hostresolution.hpp"
#include "HOPR/HOPR/hopr-listenerset.hpp"
#include "HOPR/HOPR/hopr-testpool.hpp"
#include "Shared/src/Concurrency/shared.concurrency-termination.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Json/shared.json-configobjects.hpp"
#include "Shared/src/Log/shared.log-directory.hpp"
#include "Shared/src/Log/shared.log-factory.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "Shared/src/System/shared.system-privileges.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace HOPR {
namespace {

using Log::GuardedLog;
using Shared::Util::ConvertErrorString;

constexpr int kExitSuccess = 0;
constexpr int kExitBadCommandLine = 16;
constexpr int kExitNoAdapter = 64;
constexpr int kExitBadInput = 80;
constexpr int kExitNoTests = 96;
constexpr int kExitFailure = 255;

// Names usually come within milliseconds: the drain looks often and says so twice a second.
constexpr unsigned long kDrainPollMs = 5;
constexpr auto kDrainReport = std::chrono::milliseconds(500);
// Threads a concurrent run leaves for the name look-ups once the system refuses one.
constexpr std::size_t kSpareThreads = 4;

using Clock = std::chrono::steady_clock;

// The run's shared state and what owns its threads. It outlives every thread it holds: on a
// failure the process ends before it is destroyed.
struct Run {
    Run(std::uint32_t workerCount, bool resolutionEnabled)
        : state(workerCount, resolutionEnabled) {}

    RunState state;
    std::unique_ptr<Shared::Concurrency::Event> exitEvent;  // serialised runs only
    Shared::WinSock::WinSockInitialiser winSock;
    std::vector<std::unique_ptr<HostResolution::HostResolutionWorker>> workers;
    std::optional<ListenerSet> listeners;
};

void CreateLoggerFromSettings(Log::LoggingMode mode) {
    const auto settings = Log::ReadLoggingSettings();
    Log::CreateLogger(mode, static_cast<spdlog::level::level_enum>(settings.minimumLogLevel),
                      "velmora_hopr.log", settings.maxLogFiles, settings.maxLogFileSize);
}

// JSON mode's one line of input; an exit code when the run cannot go on.
std::optional<int> ReadJsonInput(AppState& appState) {
    try {
        const auto line = Shared::Util::ReadStdLine();
        const auto wide = Shared::Util::ConvertStringType(line);
        GuardedLog::Info("Using stdin arg: {}", line);
        appState.parameters = Shared::Json::JSONToTcpTraceTests(wide);
        if (appState.parameters.tests.empty()) {
            return kExitNoTests;
        }
    } catch (const std::exception& e) {
        std::cout << e.what() << std::flush;
        return kExitBadInput;
    }
    return std::nullopt;
}

void StartWorkers(Run& run) {
    for (auto& queue : run.state.resolutionQueues) {
        run.workers.push_back(
            std::make_unique<HostResolution::HostResolutionWorker>(queue, run.state.hostNames));
    }
    for (auto& worker : run.workers) {
        worker->Start();
    }
}

// Chooses the addresses and, where answers come from raw listeners, binds them (their threads
// start later); false when there is no usable adapter.
bool BindListeners(Run& run) {
    const auto adapters = Shared::System::GetUsableAdapters();
    if (adapters.empty()) {
        GuardedLog::Error("Failed to find an active interface to bind to.");
        return false;
    }
    auto& state = run.state;
    LogLocalInterfaces(adapters);
    GetInterfaceAddresses(adapters, state.physicalAddress, state.virtualAddress);
    GuardedLog::Info("Selected interfaces:\n\tVirtual interface: {}\n\tPhysical interface: {}",
                     ConvertErrorString(state.virtualAddress),
                     ConvertErrorString(state.physicalAddress));
    if (Shared::WinSock::PlatformCalls().AnswersOnProbeSockets()) {
        return true;
    }
    const auto& bindAddress = state.PhysicalBind();
    GuardedLog::Info("The listener physical interface IP address to bind to is: {}",
                     ConvertErrorString(bindAddress));
    run.listeners.emplace(std::vector<std::wstring>{bindAddress, state.virtualAddress});
    return true;
}

// What the rest of the run may need privilege for, once any listeners are bound.
Shared::System::LaterNeeds NeedsAfterBind(const AppState& appState) {
    Shared::System::LaterNeeds needs;
    const auto& parameters = appState.parameters;
    if (appState.arguments.isJson && parameters.isSerialised) {
        needs.lowestFixedPort = parameters.minPort;
    }
    const auto mode = appState.arguments.loggingMode;
    if (mode == Log::LoggingMode::File || mode == Log::LoggingMode::ConsoleAndFile) {
        needs.logDirectory = Log::LogDirectory();
    }
    return needs;
}

// Threads are started only now: capabilities belong to threads, and each new thread takes the
// starting thread's.
void StartThreads(Run& run) {
    Log::StartPeriodicFlush();
    if (run.state.hostResolutionEnabled) {
        StartWorkers(run);
    }
    if (run.listeners) {
        run.listeners->Start(run.state.answers, Shared::Concurrency::TerminationEvent());
    }
}

Shared::Json::TcpTraceTest TestFromCommandLine(const CommandLineArguments& arguments) {
    Shared::Json::TcpTraceTest test;
    test.target = arguments.target;
    test.port = arguments.port;
    test.timeout = arguments.timeout;
    test.maxUnknown = arguments.maxUnknown;
    test.probesPerNode = arguments.repeats;
    return test;
}

void PrepareTests(RunState& state) {
    auto& parameters = state.appState.parameters;
    if (!state.appState.arguments.isJson) {
        parameters.tests = {TestFromCommandLine(state.appState.arguments)};
    }
    parameters.tests = RemoveResolvedDuplicates(parameters.tests);
    for (std::uint64_t i = 0; i < parameters.tests.size(); ++i) {
        state.results[i];
    }
}

void RunConcurrently(Run& run) {
    auto& state = run.state;
    auto* termination = &Shared::Concurrency::TerminationEvent();
    RunOnThreads(DrawStartTimes(state.appState.parameters.tests.size(), kSchedulingBoundMs),
                 run.workers.size() + kSpareThreads, [&](const ScheduledTest& test) {
                     RunTestBody({state, test.index, termination, 0, 0, test.startAt});
                 });
}

void RunTests(Run& run) {
    auto& state = run.state;
    if (!state.appState.arguments.isJson) {
        if (!state.appState.parameters.tests.empty()) {
            TraceOptions options;
            options.exitEvent = &Shared::Concurrency::TerminationEvent();
            state.results[0] = Trace(state.VirtualBind(), state.PhysicalBind(),
                                     state.appState.parameters.tests.front(), state.answers,
                                     options);
        }
    } else if (run.exitEvent) {
        RunSerialised(state, *run.exitEvent, Shared::Concurrency::TerminationEvent());
    } else if (!state.appState.parameters.isSerialised) {
        RunConcurrently(run);
    }
}

// Every second queue only: the agent's timing expectations were set by this behaviour. Ends at
// `deadline`, or at once on a request to terminate, whatever is left.
void DrainResolutionQueues(ResolutionQueues& queues, Clock::time_point deadline) {
    auto& termination = Shared::Concurrency::TerminationEvent();
    for (std::size_t i = 0; i < queues.size(); i += 2) {
        auto reported = Clock::time_point{};
        while (queues[i].Size() > 0 && Clock::now() < deadline) {
            if (Clock::now() - reported >= kDrainReport) {
                GuardedLog::Info("Waiting on resolution queue {} to be processed ", i);
                reported = Clock::now();
            }
            if (termination.WaitOnEvent(kDrainPollMs, false)) {
                break;
            }
        }
        if (const auto left = queues[i].Size(); left > 0) {
            GuardedLog::Warn("Resolution queue {} was not processed in time; {} addresses left "
                             "unresolved", i, left);
        }
    }
    GuardedLog::Info("All resolution queues finished");
}

// Names get at most the look-up limit after the last trace.
void StopListenersAndWorkers(Run& run) {
    if (run.listeners) {
        run.listeners->Stop();
    }
    const auto deadline =
        Clock::now() + std::chrono::milliseconds(Shared::System::AgentSettings::DnsResolutionTimeoutMs());
    DrainResolutionQueues(run.state.resolutionQueues, deadline);
    for (auto& worker : run.workers) {
        worker->Stop(deadline, &Shared::Concurrency::TerminationEvent());
    }
}

void WriteResults(const RunState& state) {
    std::size_t probeCount = 0;
    for (const auto& [index, probes] : state.results) {
        probeCount += probes.size();
    }
    GuardedLog::Info("Got {} probes and {} responses.", probeCount, state.answers.Total());
    std::vector<std::string> texts;
    const auto& tests = state.appState.parameters.tests;
    for (std::uint64_t i = 0; i < tests.size(); ++i) {
        texts.push_back(
            GenerateMtrResults(tests[i], state.results.at(i), state.answers, state.hostNames));
    }
    const auto output =
        Shared::Util::ConvertStringType(Shared::Json::ObjectStringVectorToJSON(texts));
    GuardedLog::Info("HOPR has produced the following JSON to write back to STDOUT: {}", output);
    std::cout << output << std::flush;
    if (!std::cout) {
        throw Shared::Exception::RuntimeError("Failed to write the results to standard output");
    }
}

int Execute(Run& run, int argc, const char* const* argv) {
    auto& appState = run.state.appState;
    try {
        appState.arguments = ParseCommandLine(argc, argv);
    } catch (const std::exception& e) {
        std::cout << "Failed to parse arguments: " << e.what() << "\n";
        PrintUsage();
        return kExitBadCommandLine;
    }
    CreateLoggerFromSettings(appState.arguments.loggingMode);
    if (appState.arguments.isJson) {
        if (const auto exitCode = ReadJsonInput(appState)) {
            return *exitCode;
        }
    }
    // From here on the agent's SIGTERM ends the run as its exit event does.
    Shared::Concurrency::WatchTermination();
    // At once, so that a stop the agent sends during the target look-ups finds the event.
    if (appState.arguments.isJson && appState.parameters.isSerialised) {
        run.exitEvent = OpenExitEvent(appState.parameters.exitEventName);
    }
    run.winSock.Initialise();
    if (!BindListeners(run)) {
        return kExitNoAdapter;
    }
    Shared::System::DropPrivileges(NeedsAfterBind(appState));
    PrepareTests(run.state);
    StartThreads(run);
    RunTests(run);
    if (Shared::Concurrency::TerminationRequested()) {
        GuardedLog::Info("Asked to terminate: writing the results gathered so far.");
    }
    StopListenersAndWorkers(run);
    WriteResults(run.state);
    return kExitSuccess;
}

[[noreturn]] void Abort(const std::exception& e) {
    GuardedLog::ExceptionError(e, "Unknown main() error -- aborting HOPR");
    try {
        spdlog::default_logger()->flush();
    } catch (...) {
    }
    std::cout.flush();
    // At once: threads may still be running, so nothing may be destroyed.
    std::_Exit(kExitFailure);
}

}  // namespace

int Main(int argc, const char* const* argv) {
    std::optional<Run> run;
    try {
        Shared::Util::GuardStandardStreams();  // before anything takes a descriptor
        run.emplace(Shared::System::AgentSettings::HostResolutionWorkerCount(),
                    Shared::System::AgentSettings::IsHostResolutionEnabled());
        const int exitCode = Execute(*run, argc, argv);
        run.reset();  // its threads may log until they are joined
        spdlog::shutdown();
        return exitCode;
    } catch (const std::exception& e) {
        Abort(e);
    }
}

}  // namespace HOPR
