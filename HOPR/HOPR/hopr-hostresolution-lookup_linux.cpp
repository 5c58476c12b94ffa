#include "HOPR/HOPR/hopr-hostresolution.hpp"

#include <arpa/inet.h>
#include <netdb.h>

#include <cerrno>

#include "Shared/src/Log/shared.log-guardedlog.hpp"

namespace HOPR::HostResolution {

using Log::GuardedLog;

std::string GetHostName(const std::string& address) {
    sockaddr_in socketAddress{};
    socketAddress.sin_family = AF_INET;
    if (::inet_pton(AF_INET, address.c_str(), &socketAddress.sin_addr) != 1) {
        GuardedLog::Warn("Failed to resolve IP to name: inet_pton() failed with {:#X}.",
                         static_cast<unsigned>(errno));
        return address;
    }
    char host[NI_MAXHOST] = {};
    const int result = ::getnameinfo(reinterpret_cast<const sockaddr*>(&socketAddress),
                                     sizeof socketAddress, host, sizeof host, nullptr, 0,
                                     NI_NUMERICSERV);
    if (result != 0) {
        GuardedLog::Warn("Failed to resolve IP to name: getnameinfo() failed with {:#X}.",
                         static_cast<unsigned>(result));
        return address;
    }
    return host;
}

}  // namespace HOPR::HostResolution
