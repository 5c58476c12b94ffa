#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

#include <arpa/inet.h>

#include <cerrno>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::WinSock {
namespace {

// The status the strict parser reports for text that is not a dotted-decimal IPv4 address.
constexpr std::uint32_t kStatusInvalidParameter = 0xC000000D;

}  // namespace

std::uint32_t ParseIpv4Strict(const std::wstring& address) {
    in_addr parsed{};
    if (::inet_pton(AF_INET, Shared::Util::ConvertStringType(address).c_str(), &parsed) != 1) {
        throw Shared::Exception::NtStatusException("RtlIpv4StringToAddressW() failed",
                                                   kStatusInvalidParameter);
    }
    return parsed.s_addr;
}

std::wstring FormatIpv4(const void* address) {
    char text[INET_ADDRSTRLEN] = {};
    if (::inet_ntop(AF_INET, address, text, sizeof text) == nullptr) {
        throw WinSockException("InetNtopW() failed", static_cast<std::uint32_t>(errno));
    }
    return Shared::Util::ConvertStringType(std::string_view(text));
}

}  // namespace Shared::WinSock
