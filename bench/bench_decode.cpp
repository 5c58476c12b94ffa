// Cost of decoding one answer: on Linux the control messages of a probe socket's error-queue
// read; on Windows a time-exceeded datagram quoting a TCP probe, and the kinds of datagrams a
// listener drops.

#include <benchmark/benchmark.h>

#include <vector>

#include "Shared/src/WinSock/shared.winsock-errorqueue.hpp"
#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"
#include "support/queued_icmp_linux.hpp"

namespace {

std::vector<std::uint8_t> Datagram(std::uint8_t type, std::uint8_t protocol) {
    std::vector<std::uint8_t> bytes(65535, 0);
    bytes[0] = 0x45;
    bytes[9] = 1;
    bytes[20] = type;
    bytes[28] = 0x45;
    bytes[37] = protocol;
    bytes[44] = 198, bytes[45] = 18, bytes[46] = 4, bytes[47] = 1;
    bytes[48] = 0x80, bytes[49] = 0xE8, bytes[50] = 0x01, bytes[51] = 0xBB;
    return bytes;
}

void BM_DecodeErrorQueue(benchmark::State& state) {
    const auto control = testing_support::QueuedIcmp(11, 1'800'000'000'000'000'000);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Shared::WinSock::DecodeErrorQueue(control));
    }
}
BENCHMARK(BM_DecodeErrorQueue);

void BM_DecodeTimeExceededTcp(benchmark::State& state) {
    const auto bytes = Datagram(11, 6);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Shared::WinSock::DecodeTimeExceeded(bytes, 56));
    }
}
BENCHMARK(BM_DecodeTimeExceededTcp);

void BM_DecodeDroppedEchoReply(benchmark::State& state) {
    const auto bytes = Datagram(0, 6);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Shared::WinSock::DecodeTimeExceeded(bytes, 84));
    }
}
BENCHMARK(BM_DecodeDroppedEchoReply);

}  // namespace
