#include "Shared/src/WinSock/shared.winsock-errorqueue.hpp"

#include <ctime>  // before the kernel's header, which uses timespec without including it
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>

namespace Shared::WinSock {
namespace {

// The data of the control message at `at`, when its length holds a whole T.
template <typename T>
std::optional<T> Payload(std::span<const std::uint8_t> control, std::size_t at,
                         const cmsghdr& header) {
    if (header.cmsg_len < CMSG_LEN(sizeof(T))) {
        return std::nullopt;
    }
    T value;
    std::memcpy(&value, control.data() + at + CMSG_LEN(0), sizeof value);
    return value;
}

// The offender follows the error record in the same control message.
struct IcmpErrorRecord {
    sock_extended_err error;
    sockaddr_in offender;
};

}  // namespace

std::optional<QueuedIcmpError> DecodeErrorQueue(std::span<const std::uint8_t> control) noexcept {
    std::optional<QueuedIcmpError> found;
    std::optional<std::int64_t> stamp;
    std::size_t offset = 0;
    // Walked by hand: CMSG_NXTHDR trusts the first header's length.
    while (control.size() - offset >= sizeof(cmsghdr)) {
        cmsghdr header;
        std::memcpy(&header, control.data() + offset, sizeof header);
        if (header.cmsg_len < sizeof header || header.cmsg_len > control.size() - offset) {
            break;
        }
        if (header.cmsg_level == SOL_IP && header.cmsg_type == IP_RECVERR) {
            const auto record = Payload<IcmpErrorRecord>(control, offset, header);
            if (record && record->error.ee_origin == SO_EE_ORIGIN_ICMP &&
                record->offender.sin_family == AF_INET) {
                found = QueuedIcmpError{record->error.ee_type, record->error.ee_code,
                                        record->offender.sin_addr.s_addr, std::nullopt};
            }
        } else if (header.cmsg_level == SOL_SOCKET && header.cmsg_type == SO_TIMESTAMPNS) {
            if (const auto time = Payload<timespec>(control, offset, header)) {
                stamp = std::int64_t{time->tv_sec} * 1'000'000'000 + time->tv_nsec;
            }
        }
        offset += CMSG_ALIGN(header.cmsg_len);
        if (offset > control.size()) {
            break;
        }
    }
    if (found) {
        found->receivedWallNs = stamp;
    }
    return found;
}

}  // namespace Shared::WinSock
