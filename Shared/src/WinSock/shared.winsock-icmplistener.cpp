#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"

#include <chrono>

#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"
#include "Shared/src/WinSock/shared.winsock-ipv4text.hpp"

namespace Shared::WinSock {

std::int64_t SteadyNowNs() noexcept {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

ICMPListener::~ICMPListener() {
    Close();
}

namespace detail {

std::optional<ICMPTCPResponse> ToResponse(const std::vector<std::uint8_t>& buffer,
                                          std::size_t received, const void* source) {
    const auto receivedAt = SteadyNowNs();
    auto from = FormatIpv4(source);
    const auto probe = DecodeTimeExceeded(buffer, received);
    if (!probe) {
        return std::nullopt;
    }
    return ICMPTCPResponse{FormatIpv4(probe->originalDestination.data()), std::move(from),
                           probe->sourcePort, probe->destinationPort, receivedAt};
}

}  // namespace detail
}  // namespace Shared::WinSock
