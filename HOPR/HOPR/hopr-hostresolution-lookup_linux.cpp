#include "HOPR/HOPR/hopr-hostresolution.hpp"

#include <arpa/inet.h>
#include <netdb.h>

#include <cerrno>

namespace HOPR::HostResolution::detail {

ReverseLookupOutcome ReverseLookup(const std::string& address) {
    sockaddr_in socketAddress{};
    socketAddress.sin_family = AF_INET;
    if (::inet_pton(AF_INET, address.c_str(), &socketAddress.sin_addr) != 1) {
        return {"inet_pton", static_cast<unsigned>(errno), {}};
    }
    char host[NI_MAXHOST] = {};
    const int result = ::getnameinfo(reinterpret_cast<const sockaddr*>(&socketAddress),
                                     sizeof socketAddress, host, sizeof host, nullptr, 0,
                                     NI_NUMERICSERV);
    if (result != 0) {
        return {"getnameinfo", static_cast<unsigned>(result), {}};
    }
    return {nullptr, 0, host};
}

}  // namespace HOPR::HostResolution::detail
