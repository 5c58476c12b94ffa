#pragma once
// Local ports handed out in sequence from the system's ephemeral range, as Windows does when a
// socket binds port 0. A random first port keeps two runs from starting on the same one. Ports
// the system reserves (ip_local_reserved_ports) are skipped, as the system itself does.

#include <atomic>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Shared::WinSock {

struct PortRange {
    std::uint16_t first;
    std::uint16_t last;
};

// The kernel's port list format: "8080,9000-9010" => {8080, 8080}, {9000, 9010}. Items that are
// not a port or an ascending range of ports are left out.
std::vector<PortRange> ParsePortList(std::string_view text);

class EphemeralPorts {
public:
    EphemeralPorts(std::uint16_t first, std::uint16_t last, std::uint16_t start,
                   std::vector<PortRange> reserved = {}) noexcept;

    // The process-wide sequence over the system's range.
    static EphemeralPorts& Instance();

    // The next port that is not reserved; a reserved one only when every port is.
    std::uint16_t Next() noexcept;
    std::uint32_t Count() const noexcept { return count_; }

private:
    bool IsReserved(std::uint16_t port) const noexcept;

    std::uint16_t first_;
    std::uint32_t count_;
    std::vector<PortRange> reserved_;
    std::atomic<std::uint32_t> next_;
};

}  // namespace Shared::WinSock
