#include "Shared/src/WinSock/shared.winsock-wine.hpp"

#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

namespace Shared::WinSock {
namespace {

std::uint32_t RefusalOf(WineGap gap) noexcept {
    return gap == WineGap::ReceiveAll ? WSAEOPNOTSUPP : WSAENOPROTOOPT;
}

void WarnOnce(WineGap gap, std::uint32_t error) noexcept {
    if (gap == WineGap::ReceiveAll) {
        Log::GuardedLog::Warn(
            "Wine refuses receive-all mode (error code {:#X}); the raw ICMP socket receives "
            "the routers' answers without it",
            error);
    } else {
        Log::GuardedLog::Warn(
            "Wine refuses TCP_MAXRT (error code {:#X}); each probe's own wait keeps its "
            "time-out",
            error);
    }
}

}  // namespace

bool RunningUnderWine() noexcept {
    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    return ntdll != nullptr && ::GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

bool KnownRefusals::Tolerate(WineGap gap, std::uint32_t error) noexcept {
    if (!underWine_ || error != RefusalOf(gap)) {
        return false;
    }
    if (!warned_[static_cast<std::size_t>(gap)].exchange(true)) {
        WarnOnce(gap, error);
    }
    return true;
}

KnownRefusals& PlatformRefusals() {
    static KnownRefusals refusals(RunningUnderWine());
    return refusals;
}

}  // namespace Shared::WinSock
