// Result assembly for runs of 1 to 1000 tests, each 30 hops x 3 probes from one port, every
// probe with its answer and every answer counted for the run: the time per test must stay flat.

#include <benchmark/benchmark.h>

#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace {

constexpr std::uint32_t kHops = 30;
constexpr std::uint32_t kProbesPerHop = 3;

struct Run {
    std::vector<Shared::Json::TcpTraceTest> tests;
    std::vector<std::vector<HOPR::ProbeAttempt>> probes;
    HOPR::ProbeAnswers answers;
};

std::wstring Address(std::size_t test) {
    return L"198.19." + std::to_wstring(test / 250) + L"." + std::to_wstring(test % 250 + 1);
}

void MakeRun(Run& run, std::size_t testCount) {
    for (std::size_t t = 0; t < testCount; ++t) {
        const auto port = static_cast<std::uint16_t>(33000 + t);
        Shared::Json::TcpTraceTest test;
        test.target = test.resolvedIp = Address(t);
        test.probesPerNode = kProbesPerHop;
        run.tests.push_back(test);
        auto& probes = run.probes.emplace_back();
        for (std::uint32_t hop = 1; hop <= kHops; ++hop) {
            for (std::uint32_t repeat = 0; repeat < kProbesPerHop; ++repeat) {
                const Shared::WinSock::ICMPTCPResponse answer{
                    Shared::WinSock::ParseIpv4Strict(test.resolvedIp),
                    Shared::WinSock::ParseIpv4Strict(L"198.18." + std::to_wstring(hop) + L".1"),
                    port, 443, 1'500'000};
                probes.push_back({hop, repeat, test.target, test.resolvedIp, 1'000'000,
                                  2'000'000, port, false, 0, answer});
                run.answers.Record(answer);
            }
        }
    }
}

void BM_GenerateResults(benchmark::State& state) {
    spdlog::set_default_logger(spdlog::null_logger_mt("bench"));
    spdlog::set_level(spdlog::level::info);
    Run run;
    MakeRun(run, static_cast<std::size_t>(state.range(0)));
    HOPR::HostNames names;
    for (auto _ : state) {
        for (std::size_t t = 0; t < run.tests.size(); ++t) {
            benchmark::DoNotOptimize(
                HOPR::GenerateMtrResults(run.tests[t], run.probes[t], run.answers, names));
        }
    }
    state.counters["seconds_per_test"] =
        benchmark::Counter(static_cast<double>(run.tests.size()),
                           benchmark::Counter::kIsIterationInvariantRate |
                               benchmark::Counter::kInvert);
    spdlog::drop("bench");
}
BENCHMARK(BM_GenerateResults)->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond)
    ->Iterations(3);

}  // namespace
