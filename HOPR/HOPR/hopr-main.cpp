#include "HOPR/HOPR/hopr-main.hpp"

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>

#include <spdlog/spdlog.h>

#include "HOPR/HOPR/hopr-cl.hpp"
#include "HOPR/HOPR/hopr-helpers.hpp"
#include "HOPR/HOPR/hopr-hostresolution.hpp"
#include "Shared/src/Json/shared.json-configobjects.hpp"
#include "Shared/src/Log/shared.log-factory.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
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

// Everything one run shares between its threads. It outlives every thread it holds: on a
// failure the process ends before it is destroyed.
struct Run {
    explicit Run(std::uint32_t workerCount) : resolutionQueues(workerCount) {}

    AppState appState;
    ResponseQueue responses;
    ResultsByTest results;
    ResponseCounts responseCounts;
    ResolutionQueues resolutionQueues;
    HostNames hostNames;
    Shared::WinSock::WinSockInitialiser winSock;
    std::vector<std::unique_ptr<HostResolution::HostResolutionWorker>> workers;
    Shared::WinSock::ICMPListener physicalListener;
    Shared::WinSock::ICMPListener virtualListener;
    std::thread physicalThread;
    std::thread virtualThread;
    std::vector<std::thread> testThreads;
    std::wstring physicalAddress;
    std::wstring virtualAddress;
    bool singleListener = true;
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
    for (auto& queue : run.resolutionQueues) {
        run.workers.push_back(
            std::make_unique<HostResolution::HostResolutionWorker>(queue, run.hostNames));
    }
    for (auto& worker : run.workers) {
        worker->Start();
    }
}

// Chooses the addresses and binds the listeners; false when there is no usable adapter.
bool BindListeners(Run& run) {
    const auto adapters = Shared::System::GetUsableAdapters();
    if (adapters.empty()) {
        GuardedLog::Error("Failed to find an active interface to bind to.");
        return false;
    }
    LogLocalInterfaces(adapters);
    GetInterfaceAddresses(adapters, run.physicalAddress, run.virtualAddress);
    GuardedLog::Info("Selected interfaces:\n\tVirtual interface: {}\n\tPhysical interface: {}",
                     ConvertErrorString(run.virtualAddress),
                     ConvertErrorString(run.physicalAddress));
    const auto& requested = run.appState.arguments.interfaceAddress;
    const auto& bindAddress = requested.empty() ? run.physicalAddress : requested;
    GuardedLog::Info("The listener physical interface IP address to bind to is: {}",
                     ConvertErrorString(bindAddress));
    run.physicalListener.Bind(bindAddress);
    run.singleListener = run.virtualAddress == bindAddress;
    if (!run.singleListener) {
        run.virtualListener.Bind(run.virtualAddress);
    }
    return true;
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

void PrepareTests(Run& run) {
    auto& parameters = run.appState.parameters;
    if (!run.appState.arguments.isJson) {
        parameters.tests = {TestFromCommandLine(run.appState.arguments)};
    }
    parameters.tests = RemoveResolvedDuplicates(parameters.tests);
    for (std::uint64_t i = 0; i < parameters.tests.size(); ++i) {
        run.responseCounts.FindOrInsert(parameters.tests[i].resolvedIp, 0u).store(0);
        run.results[i];
    }
}

void RunConcurrently(Run& run) {
    auto& appState = run.appState;
    appState.schedulingBoundMs = kSchedulingBoundMs;
    std::vector<TestContext> contexts;
    const auto& tests = appState.parameters.tests;
    contexts.reserve(tests.size());
    for (std::uint64_t i = 0; i < tests.size(); ++i) {
        contexts.push_back({tests[i], appState, appState.schedulingBoundMs, run.results.at(i),
                            run.virtualAddress, run.physicalAddress, run.responseCounts, nullptr,
                            0, 0});
    }
    for (const auto& context : contexts) {
        run.testThreads.emplace_back(RunTestBody, std::cref(context));
    }
    for (auto& thread : run.testThreads) {
        thread.join();
    }
}

void RunTests(Run& run) {
    auto& appState = run.appState;
    if (!appState.arguments.isJson) {
        if (appState.parameters.tests.empty()) {
            return;
        }
        const auto& requested = appState.arguments.interfaceAddress;
        run.results[0] = Trace(requested.empty() ? run.virtualAddress : requested,
                               requested.empty() ? run.physicalAddress : requested,
                               appState.parameters.tests.front(), run.responseCounts, {});
    } else if (appState.parameters.isSerialised) {
        RunSerialised(appState, run.virtualAddress, run.physicalAddress, run.results,
                      run.responseCounts, run.responses, run.hostNames);
    } else {
        RunConcurrently(run);
    }
}

void StopListenersAndWorkers(Run& run) {
    run.physicalListener.Close();
    run.virtualListener.Close();
    run.physicalThread.join();
    if (run.virtualThread.joinable()) {
        run.virtualThread.join();
    }
    // Every second queue only: the agent's timing expectations were set by this behaviour.
    for (std::size_t i = 0; i < run.resolutionQueues.size(); i += 2) {
        while (run.resolutionQueues[i].Size() > 0) {
            GuardedLog::Info("Waiting on resolution queue {} to be processed ", i);
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
        }
    }
    GuardedLog::Info("All resolution queues finished");
    for (auto& worker : run.workers) {
        worker->Stop();
    }
}

void WriteResults(Run& run) {
    std::size_t probeCount = 0;
    for (const auto& [index, probes] : run.results) {
        probeCount += probes.size();
    }
    const auto responses = IndexByDestination(run.responses.Copy());
    GuardedLog::Info("Got {} probes and {} responses.", probeCount, run.responses.Size());
    std::vector<std::string> texts;
    const auto& tests = run.appState.parameters.tests;
    for (std::uint64_t i = 0; i < tests.size(); ++i) {
        texts.push_back(GenerateMtrResults(tests[i], run.results[i], responses, run.hostNames));
    }
    const auto output =
        Shared::Util::ConvertStringType(Shared::Json::ObjectStringVectorToJSON(texts));
    GuardedLog::Info("HOPR has produced the following JSON to write back to STDOUT: {}", output);
    std::cout << output << std::flush;
}

int Execute(Run& run, int argc, const char* const* argv) {
    auto& appState = run.appState;
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
    run.winSock.Initialise();
    if (Shared::System::AgentSettings::IsHostResolutionEnabled()) {
        StartWorkers(run);
    }
    if (!BindListeners(run)) {
        return kExitNoAdapter;
    }
    PrepareTests(run);
    CreateListenerThreads(run.responses, run.physicalListener, run.virtualListener,
                          run.physicalThread, run.virtualThread, run.responseCounts,
                          run.resolutionQueues, run.singleListener);
    RunTests(run);
    StopListenersAndWorkers(run);
    WriteResults(run);
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
        run.emplace(Shared::System::AgentSettings::HostResolutionWorkerCount());
        const int exitCode = Execute(*run, argc, argv);
        run.reset();  // its threads may log until they are joined
        spdlog::shutdown();
        return exitCode;
    } catch (const std::exception& e) {
        Abort(e);
    }
}

}  // namespace HOPR
