#include "Shared/src/WinSock/shared.winsock-ephemeralports.hpp"

#include <algorithm>
#include <fstream>
#include <random>

namespace Shared::WinSock {

EphemeralPorts::EphemeralPorts(std::uint16_t first, std::uint16_t last,
                               std::uint16_t start) noexcept
    : first_(std::min(first, last)),
      count_(static_cast<std::uint32_t>(std::max(first, last) - first_) + 1),
      next_(start >= first_ ? static_cast<std::uint32_t>(start - first_) % count_ : 0) {}

EphemeralPorts& EphemeralPorts::Instance() {
    static EphemeralPorts ports = [] {
        // The kernel's default range, used when the setting cannot be read.
        std::uint32_t first = 32768;
        std::uint32_t last = 60999;
        std::ifstream("/proc/sys/net/ipv4/ip_local_port_range") >> first >> last;
        if (first == 0 || first > 65535 || last > 65535) {
            first = 32768, last = 60999;
        }
        std::uniform_int_distribution<std::uint32_t> pick(first, std::max(first, last));
        std::random_device seed;
        return EphemeralPorts(static_cast<std::uint16_t>(first), static_cast<std::uint16_t>(last),
                              static_cast<std::uint16_t>(pick(seed)));
    }();
    return ports;
}

std::uint16_t EphemeralPorts::Next() noexcept {
    return static_cast<std::uint16_t>(first_ + next_.fetch_add(1) % count_);
}

}  // namespace Shared::WinSock
