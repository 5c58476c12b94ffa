#pragma once
// Wine runs hopr.exe with two socket options refused that Windows has: receive-all mode on the
// raw listener and TCP_MAXRT on the probes. Neither is needed there: Wine's raw ICMP socket
// already delivers every ICMP datagram with its IP header, and a probe's own wait keeps its
// time-out. On Windows both refusals stay failures.

#include <array>
#include <atomic>
#include <cstdint>

namespace Shared::WinSock {

// ntdll exports wine_get_version only under Wine.
bool RunningUnderWine() noexcept;

enum class WineGap { ReceiveAll, RetryTimeout };

class KnownRefusals {
public:
    explicit KnownRefusals(bool underWine) noexcept : underWine_(underWine) {}

    // True when `error` is Wine's refusal of `gap` and the program runs under Wine: the caller
    // goes on without the option. Logs a warning the first time for each gap.
    bool Tolerate(WineGap gap, std::uint32_t error) noexcept;

private:
    bool underWine_;
    std::array<std::atomic<bool>, 2> warned_{};
};

// The refusals this process tolerates, decided once.
KnownRefusals& PlatformRefusals();

}  // namespace Shared::WinSock
