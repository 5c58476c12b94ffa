#pragma once
// Strict IPv4 parsing for bind addresses: only the full dotted-decimal form is accepted.

#include <cstdint>
#include <string>

namespace Shared::WinSock {

// The address in network byte order; throws NtStatusException "RtlIpv4StringToAddressW() failed".
std::uint32_t ParseIpv4Strict(const std::wstring& address);

}  // namespace Shared::WinSock
