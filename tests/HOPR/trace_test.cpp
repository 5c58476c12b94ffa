#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "support/captured_log.hpp"

namespace {

// What the socket layer reports for a probe that timed out, and for a closed port.
#if defined(_WIN32)
constexpr int kTimedOut = 10060;
constexpr int kRefused = 10061;
#else
constexpr int kTimedOut = ETIMEDOUT;
constexpr int kRefused = ECONNREFUSED;
#endif

using HOPR::ProbeAttempt;
using Shared::WinSock::WinSockException;

// A socket whose connects succeed from hop `connectAtHop` on; earlier hops time out, and
// routers up to `answeringHops` are "heard" by bumping the target's answer counter.
struct Path {
    std::uint32_t connectAtHop = 0;  // 0: never
    std::uint32_t answeringHops = 0;
    int failure = kTimedOut;
    HOPR::ResponseCounts* counts = nullptr;
    std::vector<std::uint16_t> boundPorts;
};

class FakeSocket : public Shared::WinSock::Socket {
public:
    FakeSocket(Path& path, const std::wstring& address) : Socket(address, 443), path_(path) {}
    void Open() override {}
    void Bind(const std::wstring&, std::uint16_t port) override {
        port_ = port == 0 ? static_cast<std::uint16_t>(50000 + path_.boundPorts.size()) : port;
        path_.boundPorts.push_back(port);
    }
    std::uint32_t GetLocalPort() override { return port_; }
    void Connect(std::uint32_t ttl, std::uint32_t) override {
        if (path_.connectAtHop != 0 && ttl >= path_.connectAtHop) {
            return;
        }
        if (ttl <= path_.answeringHops) {
            path_.counts->FindOrInsert(Address(), 0u).fetch_add(1);
        }
        throw WinSockException("connect() failed", static_cast<std::uint32_t>(path_.failure));
    }
    void Close() noexcept override {}

private:
    Path& path_;
    std::uint16_t port_ = 0;
};

struct TraceRun {
    std::vector<ProbeAttempt> probes;
    std::string log;
};

TraceRun RunTrace(Path& path, std::uint32_t probesPerNode, std::uint32_t maxUnknown,
                  HOPR::TraceOptions options = {}, const std::wstring& resolvedIp = L"198.18.4.1") {
    const CapturedLog log;
    HOPR::ResponseCounts counts;
    path.counts = &counts;
    Shared::Json::TcpTraceTest test;
    test.target = L"target.lab";
    test.resolvedIp = resolvedIp;
    test.probesPerNode = probesPerNode;
    test.maxUnknown = maxUnknown;
    test.timeout = 1;
    auto probes = HOPR::Trace(L"198.18.60.2", L"198.18.1.2", test, counts, options,
                              [&](const std::wstring& address, std::uint32_t) {
                                  return std::make_unique<FakeSocket>(path, address);
                              });
    return {std::move(probes), log.Text()};
}

TEST(Trace, StopsAfterTheHopWhereTheTargetConnects) {
    Path path{.connectAtHop = 3, .answeringHops = 2};
    const auto run = RunTrace(path, 2, 3);
    ASSERT_EQ(run.probes.size(), 6u);
    EXPECT_EQ(run.probes.back().hop, 3u);
    EXPECT_TRUE(run.probes.back().connected);
    EXPECT_FALSE(run.probes.front().connected);
    EXPECT_GE(run.probes.front().endTime, run.probes.front().startTime);
    EXPECT_THAT(run.log, testing::Not(testing::HasSubstr("Winsock error")));  // expiry is silent
    EXPECT_EQ(run.probes[5].repeat, 1u);

    Path atOnce{.connectAtHop = 1};
    EXPECT_EQ(RunTrace(atOnce, 3, 3).probes.size(), 3u);
}

TEST(Trace, SilentHopsEndTheTraceAfterMaxUnknown) {
    Path path;
    const auto run = RunTrace(path, 2, 3);
    EXPECT_EQ(run.probes.size(), 6u);
    EXPECT_EQ(run.probes.back().hop, 3u);
    EXPECT_THAT(run.log, testing::HasSubstr("Aborting trace for 198.18.4.1 due to too many unknown nodes"));
    EXPECT_TRUE(RunTrace(path, 3, 0).probes.empty());
    EXPECT_TRUE(RunTrace(path, 0, 3).probes.empty());
}

TEST(Trace, PortRangeAdvancesPerProbeWrapsAndEndsTheTrace) {
    Path single{.answeringHops = 10};
    HOPR::TraceOptions options{.minPort = 1000, .maxPort = 1000};
    const auto run = RunTrace(single, 3, 5, options);
    ASSERT_EQ(run.probes.size(), 1u);
    EXPECT_EQ(run.probes[0].localPort, 1000u);

    Path wrap{.connectAtHop = 2, .answeringHops = 1};
    RunTrace(wrap, 2, 5, {.minPort = 65535});
    EXPECT_EQ(wrap.boundPorts, (std::vector<std::uint16_t>{65535, 0, 0, 0}));
}

TEST(Trace, ExitEventUnresolvedTargetAndLoudErrors) {
    Shared::Concurrency::Event exitEvent(true);
    exitEvent.Signal();
    Path path{.connectAtHop = 1};
    const auto stopped = RunTrace(path, 3, 3, {.exitEvent = &exitEvent});
    EXPECT_TRUE(stopped.probes.empty());
    EXPECT_THAT(stopped.log, testing::HasSubstr("TCP Tracer thread has received signal to exit."));

    const auto unresolved = RunTrace(path, 3, 3, {}, L"");
    EXPECT_TRUE(unresolved.probes.empty());
    EXPECT_THAT(unresolved.log, testing::HasSubstr("Failed resolving IPv4 address for target.lab."));

    Path refused{.answeringHops = 1, .failure = kRefused};
    const auto loud = RunTrace(refused, 1, 1);
    EXPECT_THAT(loud.log, testing::HasSubstr("Winsock error on 198.18.4.1:50000"));
}

}  // namespace
