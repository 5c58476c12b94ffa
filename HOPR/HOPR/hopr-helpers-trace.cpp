#include <chrono>
#include <limits>
#include <thread>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace HOPR {
namespace {

using Log::GuardedLog;
using Shared::Util::ConvertErrorString;

constexpr std::int64_t kLateAnswerWaitNs = 200'000'000;

std::int64_t SteadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::int64_t WallClockTicks() {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    return std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

bool ExitSignalled(const TraceOptions& options) {
    if (options.exitEvent != nullptr &&
        Shared::Concurrency::WaitFor(options.exitEvent->Handle(), 0, false)) {
        GuardedLog::Info("TCP Tracer thread has received signal to exit.");
        return true;
    }
    return false;
}

// Lets answers to the hop's last probes arrive before the hop is judged.
void WaitForLateAnswers() {
    const auto now = SteadyNs();
    const auto deadline = now > std::numeric_limits<std::int64_t>::max() - kLateAnswerWaitNs
                              ? std::numeric_limits<std::int64_t>::max()
                              : now + kLateAnswerWaitNs;
    std::this_thread::sleep_for(std::chrono::nanoseconds(deadline - now));
}

// An IPv4 TTL is one byte.
constexpr std::uint32_t kLastHop = 255;

struct ProbeSettings {
    const std::wstring& bindAddress;
    std::uint32_t hop;
    std::uint32_t timeoutSeconds;
};

// The one local port every probe of a trace leaves from, so that load balancers keep the whole
// trace on one path.
struct TracePort {
    std::uint16_t port;  // 0 until the system has chosen one
    bool systemChosen;
};

// What one trace's probes share: the socket, the target's wire address, the answers that end a
// probe's wait and the handles that can end it early.
struct ProbeTools {
    Shared::WinSock::Socket& socket;
    Shared::WinSock::Ipv4Address destination;
    std::uint16_t destinationPort;
    ProbeAnswers& answers;
    Shared::Concurrency::Event& answered;
    std::vector<Shared::Raii::NativeHandle> wakeHandles;  // the answer event, then the exit event
    bool answersOnProbeSockets;
    TracePort port;
};

void LogConnectFailure(const ProbeAttempt& probe, std::uint32_t error) {
    if (Shared::WinSock::IsProbeExpiryError(error)) {
        return;
    }
    const Shared::WinSock::WinSockException failure("connect() failed", error);
    GuardedLog::ExceptionError(failure, "Winsock error on {}:{}",
                               ConvertErrorString(probe.targetAddress), probe.localPort);
}

// Under Wine the Linux stack beneath ends the connect at the router's answer, before the
// listener thread has read that answer: the probe waits for it, within its time-out.
void WaitForListenerAnswer(ProbeTools& tools, std::int64_t deadline) {
    const auto left = (deadline - SteadyNs()) / 1'000'000;
    if (left > 0) {
        Shared::Concurrency::WaitFor(tools.wakeHandles, false, static_cast<unsigned long>(left),
                                     false);
    }
}

// Connects and waits for the first of: the outcome, this probe's own ICMP answer, the
// time-out, the exit event. Anything but a connection leaves the probe unconnected.
void ConnectProbe(ProbeTools& tools, ProbeAttempt& probe, const ProbeSettings& settings) {
    using Status = Shared::WinSock::ConnectOutcome::Status;
    tools.answered.Reset();
    const auto port = static_cast<std::uint16_t>(probe.localPort);
    const ProbeAnswers::Flight flight(tools.answers, {tools.destination, port}, probe.startTime,
                                      tools.answered);
    const auto deadline =
        SteadyNs() + std::int64_t{Shared::WinSock::ClampedMilliseconds(settings.timeoutSeconds)} *
                         1'000'000;
    const auto outcome =
        tools.socket.TryConnect(settings.hop, settings.timeoutSeconds, tools.wakeHandles);
    probe.endTime = SteadyNs();
    if (outcome.status == Status::Connected) {
        probe.connected = true;
        GuardedLog::Info("Connected to {} ({}) on hop {}, local port {}",
                         ConvertErrorString(probe.targetAddress), ConvertErrorString(probe.target),
                         settings.hop, tools.socket.GetLocalPort());
    } else if (outcome.status == Status::Answered) {
        tools.answers.Record({tools.destination, outcome.answer->from, port,
                              tools.destinationPort, outcome.answer->receivedAt});
    } else if (outcome.status == Status::Failed) {
        LogConnectFailure(probe, outcome.error);
        if (!tools.answersOnProbeSockets && Shared::WinSock::IsProbeExpiryError(outcome.error) &&
            !flight.Answer()) {
            WaitForListenerAnswer(tools, deadline);
        }
    }
    probe.answer = flight.Answer();
}

// Binds the trace's port. One the system chose, taken by someone else since, gives way to a
// new one.
void BindTracePort(ProbeTools& tools, const std::wstring& bindAddress) {
    try {
        tools.socket.Bind(bindAddress, tools.port.port);
    } catch (const Shared::WinSock::WinSockException&) {
        if (!tools.port.systemChosen || tools.port.port == 0) {
            throw;
        }
        tools.socket.Open();
        tools.socket.Bind(bindAddress, 0);
    }
}

// One connection attempt; socket failures end the probe, never the trace.
ProbeAttempt Probe(ProbeTools& tools, const Shared::Json::TcpTraceTest& test,
                   const ProbeSettings& settings, std::uint32_t repeat) {
    ProbeAttempt probe;
    probe.hop = settings.hop;
    probe.repeat = repeat;
    probe.target = test.target;
    probe.targetAddress = test.resolvedIp;
    probe.startTime = SteadyNs();
    probe.wallClock = WallClockTicks();
    try {
        tools.socket.Open();
        BindTracePort(tools, settings.bindAddress);
        probe.localPort = tools.socket.GetLocalPort();
        if (tools.port.systemChosen) {
            tools.port.port = static_cast<std::uint16_t>(probe.localPort);
        }
        ConnectProbe(tools, probe, settings);
    } catch (const std::exception& e) {
        probe.endTime = SteadyNs();
        GuardedLog::ExceptionError(e, "Winsock error on {}:{}", ConvertErrorString(test.resolvedIp),
                                   probe.localPort);
    }
    tools.socket.Close();
    return probe;
}

std::uint32_t ConnectTimeout(const Shared::Json::TcpTraceTest& test, const TraceOptions& options) {
    if (options.connectionTimeoutOverride == 0) {
        return test.timeout;
    }
    GuardedLog::Info("A connection override timeout of {} seconds has been specified",
                     options.connectionTimeoutOverride);
    return static_cast<std::uint32_t>(options.connectionTimeoutOverride);
}

std::vector<ProbeAttempt> TraceHops(ProbeTools& tools, const std::wstring& bindAddress,
                                    const Shared::Json::TcpTraceTest& test,
                                    const TraceOptions& options) {
    const auto address = ConvertErrorString(test.resolvedIp);
    std::vector<ProbeAttempt> probes;
    // The range is accounted one port per probe, as if each took the next: a run ends where
    // its range runs out, whatever port the probes leave from. 32 bits: no wrap past 65535.
    std::uint32_t accountedPort = options.minPort;
    std::uint32_t unknownRun = 0;
    std::uint32_t connectedCount = 0;
    for (std::uint32_t hop = 1; hop <= kLastHop; ++hop) {
        if (unknownRun >= test.maxUnknown || connectedCount >= test.probesPerNode ||
            connectedCount != 0 || ExitSignalled(options)) {
            return probes;
        }
        const auto before = tools.answers.CountFor(tools.destination);
        bool answeredByConnect = false;
        bool lateAnswerCounts = false;
        for (std::uint32_t repeat = 0; repeat < test.probesPerNode; ++repeat) {
            if (ExitSignalled(options) || (options.maxPort != 0 && accountedPort > options.maxPort)) {
                return probes;
            }
            GuardedLog::Info("On hop {}; repeat {}; address {}; bind {}.", hop, repeat, address,
                             ConvertErrorString(bindAddress));
            const auto timeout = ConnectTimeout(test, options);
            probes.push_back(Probe(tools, test, {bindAddress, hop, timeout}, repeat));
            const auto& probe = probes.back();
            if (probe.connected) {
                ++connectedCount;
                answeredByConnect = true;
            }
            lateAnswerCounts = lateAnswerCounts || (!probe.connected && !probe.answer);
            if (accountedPort != 0) {
                ++accountedPort;
            }
        }
        if (answeredByConnect) {
            unknownRun = 0;
            continue;
        }
        // Only a listener can still bring an answer after its probe: a probe's own socket
        // has nothing to deliver once the probe is closed.
        if (lateAnswerCounts && !tools.answersOnProbeSockets) {
            WaitForLateAnswers();
        }
        if (tools.answers.CountFor(tools.destination) != before) {
            unknownRun = 0;
        } else if (++unknownRun >= test.maxUnknown) {
            GuardedLog::Warn("Aborting trace for {} due to too many unknown nodes", address);
            return probes;
        }
    }
    return probes;
}

}  // namespace

std::vector<ProbeAttempt> Trace(const std::wstring& virtualAddress,
                                const std::wstring& physicalAddress,
                                const Shared::Json::TcpTraceTest& test, ProbeAnswers& answers,
                                const TraceOptions& options, Shared::WinSock::SystemCalls& calls) {
    if (test.resolvedIp.empty()) {
        GuardedLog::Warn(
            "Failed resolving IPv4 address for {}. The target may not be known, or DNS is not "
            "available due to a network outage.",
            ConvertErrorString(test.target));
        return {};
    }
    try {
        Shared::WinSock::Socket socket(test.resolvedIp, test.port, calls);
        Shared::Concurrency::Event answered(true);
        ProbeTools tools{socket,
                         Shared::WinSock::ParseIpv4Strict(test.resolvedIp),
                         static_cast<std::uint16_t>(test.port),
                         answers,
                         answered,
                         {answered.Handle()},
                         calls.AnswersOnProbeSockets(),
                         {options.minPort, options.minPort == 0}};
        if (options.exitEvent != nullptr) {
            tools.wakeHandles.push_back(options.exitEvent->Handle());
        }
        return TraceHops(tools, test.isSplitTunnel ? virtualAddress : physicalAddress, test,
                         options);
    } catch (const std::exception& e) {
        GuardedLog::ExceptionError(e, "Unknown error");
        return {};
    }
}

}  // namespace HOPR
