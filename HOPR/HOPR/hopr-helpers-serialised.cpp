#include <algorithm>
#include <memory>
#include <thread>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Concurrency/shared.concurrency-scheduler.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace HOPR {
namespace {

using Log::GuardedLog;

constexpr unsigned long kThreadEnded = Shared::Concurrency::kWaitObject0 + 2;

// False when the run was stopped before the start came.
bool WaitForScheduledStart(std::chrono::steady_clock::time_point startAt,
                           const Shared::Concurrency::Event* stop) {
    using Scheduler = Shared::Concurrency::Scheduler<TestTypes>;
    const auto delayMs = static_cast<std::int64_t>(Shared::Concurrency::MillisecondsUntil(startAt));
    Scheduler scheduler(Shared::Concurrency::WaitableTimer(),
                        std::vector<Scheduler::Entry>{{0, TestTypes::NetworkTest, delayMs}});
    scheduler.ScheduleNext();
    std::vector<Shared::Concurrency::NativeHandle> handles{scheduler.Timer().Handle()};
    if (stop != nullptr) {
        handles.push_back(stop->Handle());
    }
    return Shared::Concurrency::WaitFor(handles, false, Shared::Concurrency::kInfinite, false) ==
           Shared::Concurrency::kWaitObject0;
}

}  // namespace

void RunTestBody(const TestContext& context) noexcept {
    auto& run = context.run;
    const auto& test = run.appState.parameters.tests.at(context.index);
    try {
        if (!ShouldRun(test)) {
            return;
        }
        if (context.startAt && !WaitForScheduledStart(*context.startAt, context.exitEvent)) {
            return;
        }
        TraceOptions options;
        options.connectionTimeoutOverride =
            Shared::System::AgentSettings::ConnectionTimeoutOverride();
        options.exitEvent = context.exitEvent;
        options.minPort = context.firstPort;
        options.maxPort = context.lastPort;
        run.results.at(context.index) =
            Trace(run.VirtualBind(), run.PhysicalBind(), test, run.answers, options);
    } catch (const std::exception& e) {
        GuardedLog::ExceptionError(e, "Test {} ended with an error.",
                                   Shared::Util::ConvertErrorString(test.testUuid));
    }
}

std::optional<std::uint32_t> NextTestPort(std::uint32_t currentPort, std::size_t probesSent,
                                          std::uint16_t maxPort) {
    if (currentPort == 0) {
        return 0;
    }
    const auto next =
        currentPort + static_cast<std::uint32_t>(std::min<std::size_t>(probesSent, 0x10000));
    const std::uint32_t lastPort = maxPort != 0 ? maxPort : 0xFFFF;
    if (next > lastPort) {
        return std::nullopt;
    }
    return next;
}

std::unique_ptr<Shared::Concurrency::Event> OpenExitEvent(const std::wstring& name) {
    try {
        GuardedLog::Info("Opening event {}", Shared::Util::ConvertErrorString(name));
        // The agent owns the event and may let this process do nothing but wait on it.
        return std::make_unique<Shared::Concurrency::Event>(true, false, name,
                                                            Shared::Concurrency::kSynchronizeAccess);
    } catch (const std::exception& e) {
        GuardedLog::ExceptionError(e, "Failed running a serialised test.");
    }
    return nullptr;
}

void RunSerialised(RunState& run, const Shared::Concurrency::Event& exitEvent,
                   const Shared::Concurrency::Event& termination) {
    const auto& parameters = run.appState.parameters;
    try {
        // What the traces watch: signalled for the exit event and for a request to terminate.
        Shared::Concurrency::Event stop(true);
        std::uint32_t currentPort = parameters.minPort;
        const std::uint16_t maxPort = parameters.maxPort;
        for (std::uint64_t i = 0; i < parameters.tests.size(); ++i) {
            const auto& slot = run.results.at(i);
            Shared::Concurrency::Event threadEnded(true);
            const TestContext context{run, i, &stop, static_cast<std::uint16_t>(currentPort),
                                      maxPort};
            std::jthread testThread([&] {
                RunTestBody(context);
                threadEnded.Signal();
            });
            const auto signalled = Shared::Concurrency::WaitFor(
                {exitEvent.Handle(), termination.Handle(), threadEnded.Handle()}, false,
                Shared::Concurrency::kInfinite, false);
            if (signalled != kThreadEnded) {
                GuardedLog::Info("Sequential tracing is exiting due received signal.");
                stop.Signal();
                return;
            }
            // The body has ended; joining makes its writes to the slot visible here.
            testThread.join();
            const auto nextPort = NextTestPort(currentPort, slot.size(), maxPort);
            if (!nextPort) {
                GuardedLog::Info("Sequential tracing is exiting due port exhaustion.");
                return;
            }
            currentPort = *nextPort;
        }
        GuardedLog::Info("Sequential tracing has been completed.");
    } catch (const std::exception& e) {
        GuardedLog::ExceptionError(e, "Failed running a serialised test.");
    }
}

}  // namespace HOPR
