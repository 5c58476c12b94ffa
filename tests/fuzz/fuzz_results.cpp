// Probes and answers drawn from the input, joined into results and then into the output array:
// whatever the routers send back, the result is valid JSON.

#include <fuzzer/FuzzedDataProvider.h>

#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Json/shared.json-configobjects.hpp"

namespace {

const wchar_t* const kAddresses[] = {L"198.18.4.1", L"198.18.1.1", L"198.018.004.001", L""};

std::wstring PickAddress(FuzzedDataProvider& input) {
    return kAddresses[input.ConsumeIntegralInRange<int>(0, 3)];
}

// The target's address, a router's, or anything at all.
Shared::WinSock::Ipv4Address PickWireAddress(FuzzedDataProvider& input) {
    constexpr Shared::WinSock::Ipv4Address kTarget = 0x010412C6;  // 198.18.4.1
    constexpr Shared::WinSock::Ipv4Address kRouter = 0x010112C6;  // 198.18.1.1
    switch (input.ConsumeIntegralInRange<int>(0, 2)) {
    case 0:
        return kTarget;
    case 1:
        return kRouter;
    default:
        return input.ConsumeIntegral<Shared::WinSock::Ipv4Address>();
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    spdlog::set_default_logger(spdlog::null_logger_mt("fuzz"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    Shared::Json::TcpTraceTest test;
    test.target = L"target.lab";
    test.resolvedIp = L"198.18.4.1";
    test.probesPerNode = input.ConsumeIntegral<std::uint32_t>();
    std::vector<HOPR::ProbeAttempt> probes(input.ConsumeIntegralInRange<std::size_t>(0, 64));
    for (auto& probe : probes) {
        probe.hop = input.ConsumeIntegralInRange<std::uint32_t>(0, 40);
        probe.targetAddress = PickAddress(input);
        probe.localPort = input.ConsumeIntegral<std::uint16_t>();
        probe.startTime = input.ConsumeIntegral<std::int64_t>() / 4;
        probe.endTime = input.ConsumeIntegral<std::int64_t>() / 4;
        probe.connected = input.ConsumeBool();
        probe.wallClock = input.ConsumeIntegral<std::int64_t>();
    }
    for (auto& probe : probes) {
        if (input.ConsumeBool()) {
            Shared::WinSock::ICMPTCPResponse answer;
            answer.originalDestination = PickWireAddress(input);
            answer.from = PickWireAddress(input);
            answer.sourcePort = input.ConsumeIntegral<std::uint16_t>();
            answer.receivedAt = input.ConsumeIntegral<std::int64_t>() / 4;
            probe.answer = answer;
        }
    }
    const HOPR::ProbeAnswers answers;
    HOPR::HostNames names;
    const auto text = HOPR::GenerateMtrResults(test, probes, answers, names);
    Shared::Json::ObjectStringVectorToJSON({text});
    return 0;
}
