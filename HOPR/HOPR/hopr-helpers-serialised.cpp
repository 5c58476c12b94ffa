#include <algorithm>
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
bool WaitForScheduledStart(std::int64_t boundMs, const Shared::Concurrency::Event* stop) {
    Shared::Concurrency::Scheduler<TestTypes> scheduler(Shared::Concurrency::WaitableTimer(), 1,
                                                        boundMs, TestTypes::NetworkTest);
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
        if (!run.appState.parameters.isSerialised && run.appState.schedulingBoundMs >= 1 &&
            !WaitForScheduledStart(run.appState.schedulingBoundMs, context.exitEvent)) {
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

void RunSerialised(RunState& run, const Shared::Concurrency::Event& termination) {
    const auto& parameters = run.appState.parameters;
    try {
        GuardedLog::Info("Opening event {}",
                         Shared::Util::ConvertErrorString(parameters.exitEventName));
        // The agent owns the event and may let this process do nothing but wait on it.
        Shared::Concurrency::Event exitEvent(true, false, parameters.exitEventName,
                                             Shared::Concurrency::kSynchronizeAccess);
        // What the traces watch: signalled for the exit event and for a request to terminate.
        Shared::Concurrency::Event stop(true);
        // 32 bits: the accounting must not wrap back to low ports. Without a last port, the
        // range still ends where ports do.
        std::uint32_t currentPort = parameters.minPort;
        const std::uint16_t maxPort = parameters.maxPort;
        const std::uint32_t lastPort = maxPort != 0 ? maxPort : 0xFFFF;
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
            if (currentPort != 0) {
                currentPort += static_cast<std::uint32_t>(std::min<std::size_t>(slot.size(), 0x10000));
            }
            if (currentPort > lastPort) {
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
