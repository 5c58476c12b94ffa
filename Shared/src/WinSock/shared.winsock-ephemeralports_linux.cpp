#include "Shared/src/WinSock/shared.winsock-ephemeralports.hpp"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <optional>
#include <random>
#include <string>

namespace Shared::WinSock {

namespace {

std::optional<std::uint16_t> ParsePort(std::string_view text) {
    unsigned port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || text.empty() ||
        port > 65535) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(port);
}

std::optional<PortRange> ParseRange(std::string_view item) {
    const auto dash = item.find('-');
    const auto first = ParsePort(item.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : ParsePort(item.substr(dash + 1));
    if (!first || !last || *last < *first) {
        return std::nullopt;
    }
    return PortRange{*first, *last};
}

std::string ReadLine(const char* path) {
    std::string line;
    std::getline(std::ifstream(path), line);
    return line;
}

}  // namespace

std::vector<PortRange> ParsePortList(std::string_view text) {
    std::vector<PortRange> ranges;
    while (!text.empty()) {
        const auto comma = text.find(',');
        if (const auto range = ParseRange(text.substr(0, comma))) {
            ranges.push_back(*range);
        }
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return ranges;
}

EphemeralPorts::EphemeralPorts(std::uint16_t first, std::uint16_t last, std::uint16_t start,
                               std::vector<PortRange> reserved) noexcept
    : first_(std::min(first, last)),
      count_(static_cast<std::uint32_t>(std::max(first, last) - first_) + 1),
      reserved_(std::move(reserved)),
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
                              static_cast<std::uint16_t>(pick(seed)),
                              ParsePortList(ReadLine("/proc/sys/net/ipv4/ip_local_reserved_ports")));
    }();
    return ports;
}

bool EphemeralPorts::IsReserved(std::uint16_t port) const noexcept {
    return std::any_of(reserved_.begin(), reserved_.end(), [port](const PortRange& range) {
        return range.first <= port && port <= range.last;
    });
}

std::uint16_t EphemeralPorts::Next() noexcept {
    auto port = first_;
    for (std::uint32_t tries = 0; tries < count_; ++tries) {
        port = static_cast<std::uint16_t>(first_ + next_.fetch_add(1) % count_);
        if (!IsReserved(port)) {
            break;
        }
    }
    return port;
}

}  // namespace Shared::WinSock
