// Probes and answers drawn from the input, joined into results and then into the output array:
// whatever the routers send back, the result is valid JSON.

#include <fuzzer/FuzzedDataProvider.h>

#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Json/shared.json-configobjects.hpp"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    spdlog::set_default_logger(spdlog::null_logger_mt("fuzz"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const wchar_t* const addresses[] = {L"198.18.4.1", L"198.18.1.1", L"198.018.004.001", L""};
    // The target's address, a router's, or anything at all.
    const auto wireAddress = [&]() -> Shared::WinSock::Ipv4Address {
        const Shared::WinSock::Ipv4Address known[] = {0x010412C6, 0x010112C6};
        const auto pick = input.ConsumeIntegralInRange<int>(0, 2);
        return pick < 2 ? known[pick] : input.ConsumeIntegral<Shared::WinSock::Ipv4Address>();
    };
    Shared::Json::TcpTraceTest test;
    test.probesPerNode = input.ConsumeIntegral<std::uint32_t>();
    std::vector<HOPR::ProbeAttempt> probes(input.ConsumeIntegralInRange<std::size_t>(0, 64));
    for (auto& probe : probes) {
        probe.hop = input.ConsumeIntegralInRange<std::uint32_t>(0, 40);
        probe.targetAddress = addresses[input.ConsumeIntegralInRange<int>(0, 3)];
        probe.localPort = input.ConsumeIntegral<std::uint16_t>();
        probe.startTime = input.ConsumeIntegral<std::int64_t>() / 4;
        probe.endTime = input.ConsumeIntegral<std::int64_t>() / 4;
        probe.connected = input.ConsumeBool();
        probe.wallClock = input.ConsumeIntegral<std::int64_t>();
    }
    for (auto& probe : probes) {
        if (input.ConsumeBool()) {
            // A braced list is evaluated in order: the input is read as before.
            probe.answer = {wireAddress(), wireAddress(), input.ConsumeIntegral<std::uint16_t>(),
                            0, input.ConsumeIntegral<std::int64_t>() / 4};
        }
    }
    const HOPR::ProbeAnswers answers;
    HOPR::HostNames names;
    const auto text = HOPR::GenerateMtrResults(test, probes, answers, names);
    Shared::Json::ObjectStringVectorToJSON({text});
    return 0;
}
