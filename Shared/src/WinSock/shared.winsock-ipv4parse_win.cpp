#include "Shared/src/WinSock/shared.winsock-ipv4parse.hpp"

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

#include <mstcpip.h>

namespace Shared::WinSock {
namespace {

bool IsErrorSeverity(LONG status) {
    return (static_cast<std::uint32_t>(status) >> 30) == 3;
}

}  // namespace

std::uint32_t ParseIpv4Strict(const std::wstring& address) {
    in_addr parsed{};
    LPWSTR terminator = nullptr;  // mingw declares it non-const
    const LONG status = ::RtlIpv4StringToAddressW(address.c_str(), TRUE, &terminator, &parsed);
    if (IsErrorSeverity(status)) {
        throw Shared::Exception::NtStatusException("RtlIpv4StringToAddressW() failed",
                                                   static_cast<std::uint32_t>(status));
    }
    return parsed.s_addr;
}

}  // namespace Shared::WinSock
