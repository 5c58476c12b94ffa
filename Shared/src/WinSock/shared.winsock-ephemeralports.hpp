#pragma once
// Local ports handed out in sequence from the system's ephemeral range, as Windows does when a
// socket binds port 0. A random first port keeps two runs from starting on the same one.

#include <atomic>
#include <cstdint>

namespace Shared::WinSock {

class EphemeralPorts {
public:
    EphemeralPorts(std::uint16_t first, std::uint16_t last, std::uint16_t start) noexcept;

    // The process-wide sequence over the system's range.
    static EphemeralPorts& Instance();

    std::uint16_t Next() noexcept;
    std::uint32_t Count() const noexcept { return count_; }

private:
    std::uint16_t first_;
    std::uint32_t count_;
    std::atomic<std::uint32_t> next_;
};

}  // namespace Shared::WinSock
