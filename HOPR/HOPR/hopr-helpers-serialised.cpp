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

void WaitForScheduledStart(std::int64_t boundMs) {
    Shared::Concurrency::Scheduler<TestTypes> scheduler(Shared::Concurrency::WaitableTimer(), 1,
                                                        boundMs, TestTypes::NetworkTest);
    scheduler.ScheduleNext();
    Shared::Concurrency::WaitFor(scheduler.Timer().Handle(), Shared::Concurrency::kInfinite,
                                 false);
}

}  // namespace

void RunTestBody(const TestContext& context) noexcept {
    auto& run = context.run;
    const auto& test = run.appState.parameters.tests.at(context.index);
    try {
        if (!ShouldRun(test)) {
            return;
        }
        if (!run.appState.parameters.isSerialised && run.appState.schedulingBoundMs >= 1) {
            WaitForScheduledStart(run.appState.schedulingBoundMs);
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

void RunSerialised(RunState& run) {
    const auto& parameters = run.appState.parameters;
    try {
        GuardedLog::Info("Opening event {}",
                         Shared::Util::ConvertErrorString(parameters.exitEventName));
        // The agent owns the event and may let this process do nothing but wait on it.
        Shared::Concurrency::Event exitEvent(true, false, parameters.exitEventName,
                                             Shared::Concurrency::kSynchronizeAccess);
        std::uint16_t currentPort = parameters.minPort;
        const std::uint16_t maxPort = parameters.maxPort;
        for (std::uint64_t i = 0; i < parameters.tests.size(); ++i) {
            const auto& slot = run.results.at(i);
            Shared::Concurrency::Event threadEnded(true);
            const TestContext context{run, i, &exitEvent, currentPort, maxPort};
            std::jthread testThread([&] {
                RunTestBody(context);
                threadEnded.Signal();
            });
            const auto signalled = Shared::Concurrency::WaitFor(
                {exitEvent.Handle(), threadEnded.Handle()}, false, Shared::Concurrency::kInfinite,
                false);
            if (signalled == Shared::Concurrency::kWaitObject0) {
                GuardedLog::Info("Sequential tracing is exiting due received signal.");
                return;
            }
            // The body has ended; joining makes its writes to the slot visible here.
            testThread.join();
            if (currentPort != 0) {
                currentPort = static_cast<std::uint16_t>(currentPort + slot.size());
            }
            if (maxPort != 0 && currentPort > maxPort) {
                GuardedLog::Info("Sequential tracing is exiting due port exhaustion.");
                return;
            }
        }
        GuardedLog::Info("Sequential tracing has been completed.");
    } catch (const std::exception& e) {
        GuardedLog::ExceptionError(e, "Failed running a serialised test.");
    }
}

}  // namespace HOPR
