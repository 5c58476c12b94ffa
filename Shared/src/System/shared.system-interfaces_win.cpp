#include "Shared/src/System/shared.system-interfaces.hpp"

#include <cstdint>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

#include <iphlpapi.h>

namespace Shared::System {
namespace {

constexpr ULONG kInitialBufferBytes = 15000;
constexpr ULONG kSkipMulticastIncludeGateways = GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_INCLUDE_GATEWAYS;
static_assert(kSkipMulticastIncludeGateways == 132);

// The adapter list, grown for as long as the system asks for more room.
std::vector<std::uint8_t> GetAdapters(ULONG family, ULONG flags) {
    std::vector<std::uint8_t> buffer(kInitialBufferBytes);
    for (;;) {
        auto size = static_cast<ULONG>(buffer.size());
        const ULONG result = ::GetAdaptersAddresses(
            family, flags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &size);
        if (result == ERROR_SUCCESS) {
            return buffer;
        }
        if (result != ERROR_BUFFER_OVERFLOW) {
            throw Shared::Exception::Win32Exception("GetAdaptersAddresses() failed", result);
        }
        buffer.resize(size);
    }
}

std::wstring Ipv4Text(const SOCKET_ADDRESS& address) {
    const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(address.lpSockaddr);
    wchar_t text[INET_ADDRSTRLEN] = {};
    if (ipv4 == nullptr || ::InetNtopW(AF_INET, &ipv4->sin_addr, text, INET_ADDRSTRLEN) == nullptr) {
        return {};
    }
    return text;
}

}  // namespace

std::vector<InterfaceDefaultGateway> GetUsableAdapters() {
    const auto buffer = GetAdapters(AF_INET, kSkipMulticastIncludeGateways);
    std::vector<InterfaceDefaultGateway> adapters;
    for (auto* adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(buffer.data());
         adapter != nullptr; adapter = adapter->Next) {
        if (adapter->OperStatus != IfOperStatusUp) {
            continue;
        }
        InterfaceDefaultGateway record;
        for (auto* unicast = adapter->FirstUnicastAddress; unicast; unicast = unicast->Next) {
            record.addresses.push_back(Ipv4Text(unicast->Address));
        }
        for (auto* gateway = adapter->FirstGatewayAddress; gateway; gateway = gateway->Next) {
            record.gateways.push_back(Ipv4Text(gateway->Address));
        }
        if (!record.addresses.empty() && !record.gateways.empty()) {
            adapters.push_back(std::move(record));
        }
    }
    return adapters;
}

}  // namespace Shared::System
