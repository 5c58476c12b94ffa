#include "HOPR/HOPR/hopr-hostresolution.hpp"

#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

namespace HOPR::HostResolution {

using Log::GuardedLog;

std::string GetHostName(const std::string& address) {
    sockaddr_in socketAddress{};
    socketAddress.sin_family = AF_INET;
    if (::inet_pton(AF_INET, address.c_str(), &socketAddress.sin_addr) != 1) {
        GuardedLog::Warn("Failed to resolve IP to name: inet_pton() failed with {:#X}.",
                         static_cast<unsigned>(::WSAGetLastError()));
        return address;
    }
    char host[NI_MAXHOST] = {};
    if (::getnameinfo(reinterpret_cast<const sockaddr*>(&socketAddress), sizeof socketAddress,
                      host, sizeof host, nullptr, 0, NI_NUMERICSERV) != 0) {
        GuardedLog::Warn("Failed to resolve IP to name: getnameinfo() failed with {:#X}.",
                         static_cast<unsigned>(::WSAGetLastError()));
        return address;
    }
    return host;
}

}  // namespace HOPR::HostResolution
