// Cost of decoding one answer: on Linux the control messages of a probe socket's error-queue
// read; on Windows a time-exceeded datagram quoting a TCP probe, and the kinds of datagrams a
// listener drops.

#include <ctime>  // before the kernel's header, which uses timespec without including it
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "Shared/src/WinSock/shared.winsock-errorqueue.hpp"
#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"

namespace {

std::vector<std::uint8_t> Datagram(std::uint8_t type, std::uint8_t protocol) {
    std::vector<std::uint8_t> bytes(65535, 0);
    bytes[0] = 0x45;
    bytes[20] = type;
    bytes[28] = 0x45;
    bytes[37] = protocol;
    bytes[44] = 198, bytes[45] = 18, bytes[46] = 4, bytes[47] = 1;
    bytes[48] = 0x80, bytes[49] = 0xE8, bytes[50] = 0x01, bytes[51] = 0xBB;
    return bytes;
}

// What recvmsg(MSG_ERRQUEUE) gives for a time-exceeded: the receive time, then the error with
// the router as its offender.
std::vector<std::uint8_t> QueuedTimeExceeded() {
    struct {
        sock_extended_err error;
        sockaddr_in offender;
    } record{};
    record.error.ee_origin = SO_EE_ORIGIN_ICMP;
    record.error.ee_type = 11;
    record.offender.sin_family = AF_INET;
    record.offender.sin_addr.s_addr = 0x010412C6;  // 198.18.4.1
    const timespec stamp{1'800'000'000, 0};
    std::vector<std::uint8_t> control(CMSG_SPACE(sizeof stamp) + CMSG_SPACE(sizeof record));
    msghdr message{};
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    auto* header = CMSG_FIRSTHDR(&message);
    *header = {CMSG_LEN(sizeof stamp), SOL_SOCKET, SO_TIMESTAMPNS};
    std::memcpy(CMSG_DATA(header), &stamp, sizeof stamp);
    header = CMSG_NXTHDR(&message, header);
    *header = {CMSG_LEN(sizeof record), SOL_IP, IP_RECVERR};
    std::memcpy(CMSG_DATA(header), &record, sizeof record);
    return control;
}

void BM_DecodeErrorQueue(benchmark::State& state) {
    const auto control = QueuedTimeExceeded();
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
