#pragma once
// IPv4 addresses as text, both ways: strict parsing of bind addresses (only the full
// dotted-decimal form), and formatting of addresses read off the wire.

#include <cstdint>
#include <string>

namespace Shared::WinSock {

// The address in network byte order; throws NtStatusException "RtlIpv4StringToAddressW() failed".
std::uint32_t ParseIpv4Strict(const std::wstring& address);

// Dotted decimal for a 4-byte address in network order; throws WinSockException "InetNtopW() failed".
std::wstring FormatIpv4(const void* address);

}  // namespace Shared::WinSock
