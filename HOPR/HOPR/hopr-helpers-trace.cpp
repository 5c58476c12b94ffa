#include <chrono>
#include <limits>
#include <thread>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

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

struct ProbeSettings {
    const std::wstring& bindAddress;
    std::uint16_t port;
    std::uint32_t hop;
    std::uint32_t timeoutSeconds;
};

// One connection attempt; socket failures end the probe, never the trace.
ProbeAttempt Probe(Shared::WinSock::Socket& socket, const Shared::Json::TcpTraceTest& test,
                   const ProbeSettings& settings, std::uint32_t repeat) {
    ProbeAttempt probe;
    probe.hop = settings.hop;
    probe.repeat = repeat;
    probe.target = test.target;
    probe.targetAddress = test.resolvedIp;
    probe.startTime = SteadyNs();
    probe.wallClock = WallClockTicks();
    const auto address = ConvertErrorString(test.resolvedIp);
    try {
        socket.Open();
        socket.Bind(settings.bindAddress, settings.port);
        probe.localPort = socket.GetLocalPort();
        socket.Connect(settings.hop, settings.timeoutSeconds);
        probe.endTime = SteadyNs();
        probe.connected = true;
        GuardedLog::Info("Connected to {} ({}) on hop {}, local port {}", address,
                         ConvertErrorString(test.target), settings.hop, socket.GetLocalPort());
    } catch (const Shared::WinSock::WinSockException& e) {
        probe.endTime = SteadyNs();
        if (!Shared::WinSock::IsProbeExpiryError(e.Code())) {
            GuardedLog::ExceptionError(e, "Winsock error on {}:{}", address, probe.localPort);
        }
    } catch (const std::exception& e) {
        probe.endTime = SteadyNs();
        GuardedLog::ExceptionError(e, "Winsock error on {}:{}", address, probe.localPort);
    }
    socket.Close();
    return probe;
}

}  // namespace

std::unique_ptr<Shared::WinSock::Socket> MakeSocket(const std::wstring& address,
                                                    std::uint32_t port) {
    return std::make_unique<Shared::WinSock::Socket>(address, port);
}

std::vector<ProbeAttempt> Trace(const std::wstring& virtualAddress,
                                const std::wstring& physicalAddress,
                                const Shared::Json::TcpTraceTest& test,
                                ResponseCounts& responseCounts, const TraceOptions& options,
                                const SocketFactory& makeSocket) {
    if (test.resolvedIp.empty()) {
        GuardedLog::Warn(
            "Failed resolving IPv4 address for {}. The target may not be known, or DNS is not "
            "available due to a network outage.",
            ConvertErrorString(test.target));
        return {};
    }
    std::unique_ptr<Shared::WinSock::Socket> socket;
    try {
        const auto address = ConvertErrorString(test.resolvedIp);
        const auto& bindAddress = test.isSplitTunnel ? virtualAddress : physicalAddress;
        std::vector<ProbeAttempt> probes;
        std::uint16_t probePort = options.minPort;
        std::uint32_t unknownRun = 0;
        std::uint32_t connectedCount = 0;
        socket = makeSocket(test.resolvedIp, test.port);
        for (std::uint32_t hop = 1;; ++hop) {
            if (unknownRun >= test.maxUnknown || connectedCount >= test.probesPerNode ||
                connectedCount != 0 || ExitSignalled(options)) {
                return probes;
            }
            const auto& counter = responseCounts.FindOrInsert(test.resolvedIp, 0u);
            const auto before = counter.load();
            bool answeredByConnect = false;
            for (std::uint32_t repeat = 0; repeat < test.probesPerNode; ++repeat) {
                if (ExitSignalled(options) ||
                    (options.maxPort != 0 && probePort > options.maxPort)) {
                    return probes;
                }
                GuardedLog::Info("On hop {}; repeat {}; address {}; bind {}.", hop, repeat, address,
                                 ConvertErrorString(bindAddress));
                std::uint32_t timeout = test.timeout;
                if (options.connectionTimeoutOverride != 0) {
                    GuardedLog::Info("A connection override timeout of {} seconds has been specified",
                                     options.connectionTimeoutOverride);
                    timeout = static_cast<std::uint32_t>(options.connectionTimeoutOverride);
                }
                probes.push_back(
                    Probe(*socket, test, {bindAddress, probePort, hop, timeout}, repeat));
                if (probes.back().connected) {
                    ++connectedCount;
                    answeredByConnect = true;
                }
                if (probePort != 0) {
                    ++probePort;  // 16 bits: 65535 wraps to 0, which then stays 0
                }
            }
            if (answeredByConnect) {
                unknownRun = 0;
                continue;
            }
            WaitForLateAnswers();
            if (counter.load() != before) {
                unknownRun = 0;
            } else if (++unknownRun >= test.maxUnknown) {
                GuardedLog::Warn("Aborting trace for {} due to too many unknown nodes", address);
                return probes;
            }
        }
    } catch (const std::exception& e) {
        GuardedLog::ExceptionError(e, "Unknown error");
        if (socket) {
            socket->Close();
        }
        return {};
    }
}

}  // namespace HOPR
