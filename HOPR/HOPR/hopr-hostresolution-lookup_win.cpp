#include "HOPR/HOPR/hopr-hostresolution.hpp"

#include "Shared/src/Util/shared.util-windows.hpp"

namespace HOPR::HostResolution::detail {

ReverseLookupOutcome ReverseLookup(const std::string& address) {
    sockaddr_in socketAddress{};
    socketAddress.sin_family = AF_INET;
    if (::inet_pton(AF_INET, address.c_str(), &socketAddress.sin_addr) != 1) {
        return {"inet_pton", static_cast<unsigned>(::WSAGetLastError()), {}};
    }
    char host[NI_MAXHOST] = {};
    if (::getnameinfo(reinterpret_cast<const sockaddr*>(&socketAddress), sizeof socketAddress,
                      host, sizeof host, nullptr, 0, NI_NUMERICSERV) != 0) {
        return {"getnameinfo", static_cast<unsigned>(::WSAGetLastError()), {}};
    }
    return {nullptr, 0, host};
}

}  // namespace HOPR::HostResolution::detail
