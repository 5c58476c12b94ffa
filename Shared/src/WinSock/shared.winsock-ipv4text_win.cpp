#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

#include <mstcpip.h>

namespace Shared::WinSock {
namespace {

constexpr std::size_t kIpv4TextLength = 22;

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

std::wstring FormatIpv4(const void* address) {
    wchar_t text[kIpv4TextLength] = {};
    if (::InetNtopW(AF_INET, const_cast<void*>(address), text, kIpv4TextLength) == nullptr) {
        const auto error = static_cast<std::uint32_t>(::WSAGetLastError());
        throw WinSockException("InetNtopW() failed", error);
    }
    return text;
}

}  // namespace Shared::WinSock
