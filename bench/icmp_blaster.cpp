// Sends time-exceeded datagrams that quote TCP probes, at a fixed rate, for the listener
// capacity benchmark. Lab use only: run inside a lab router's namespace.
//   icmp_blaster DESTINATION QUOTED_TARGET COUNT RATE_PER_SECOND
// Source ports run through 1..65535 again and again; rate 0 sends as fast as one core can.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

std::uint16_t Checksum(const std::uint8_t* data, std::size_t length) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i + 1 < length; i += 2) {
        sum += static_cast<std::uint32_t>(data[i] << 8 | data[i + 1]);
    }
    while (sum >> 16) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<std::uint16_t>(~sum);
}

// ICMP time exceeded quoting an IPv4 + TCP header of a probe to `target` from `port`.
std::array<std::uint8_t, 36> Datagram(in_addr target, std::uint16_t port) {
    std::array<std::uint8_t, 36> bytes{};
    bytes[0] = 11;
    auto* quoted = bytes.data() + 8;
    quoted[0] = 0x45;
    quoted[8] = 1;
    quoted[9] = 6;
    std::copy_n(reinterpret_cast<const std::uint8_t*>(&target), 4, quoted + 16);
    quoted[20] = static_cast<std::uint8_t>(port >> 8);
    quoted[21] = static_cast<std::uint8_t>(port);
    quoted[23] = 80;
    const auto sum = Checksum(bytes.data(), bytes.size());
    bytes[2] = static_cast<std::uint8_t>(sum >> 8);
    bytes[3] = static_cast<std::uint8_t>(sum);
    return bytes;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: icmp_blaster DESTINATION QUOTED_TARGET COUNT RATE\n");
        return 2;
    }
    sockaddr_in destination{};
    destination.sin_family = AF_INET;
    in_addr target{};
    if (::inet_pton(AF_INET, argv[1], &destination.sin_addr) != 1 ||
        ::inet_pton(AF_INET, argv[2], &target) != 1) {
        std::fprintf(stderr, "icmp_blaster: bad address\n");
        return 2;
    }
    const long count = std::atol(argv[3]);
    const long rate = std::atol(argv[4]);
    const int sender = ::socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    if (sender < 0) {
        std::perror("socket");
        return 1;
    }
    constexpr long kBatch = 100;
    const auto start = std::chrono::steady_clock::now();
    long sent = 0;
    std::uint16_t port = 1;
    while (sent < count) {
        for (long i = 0; i < kBatch && sent < count; ++i, ++sent, ++port) {
            const auto bytes = Datagram(target, port == 0 ? ++port : port);
            ::sendto(sender, bytes.data(), bytes.size(), 0,
                     reinterpret_cast<const sockaddr*>(&destination), sizeof destination);
        }
        if (rate > 0) {
            // Pace to the rate: batch k is due at k * batch / rate seconds.
            std::this_thread::sleep_until(start +
                                          std::chrono::nanoseconds(sent * 1'000'000'000 / rate));
        }
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    std::printf("%ld %.3f\n", sent, took.count());
    return 0;
}
