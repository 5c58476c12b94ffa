#pragma once
// The control messages recvmsg(MSG_ERRQUEUE) gives for an ICMP error: the kernel's receive
// time, then the error with the router as its offender.

#include <ctime>  // before the kernel's header, which uses timespec without including it
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace testing_support {

inline constexpr std::uint32_t kRouter = 0x010212C6;  // 198.18.2.1

inline std::vector<std::uint8_t> QueuedIcmp(std::uint8_t type, std::int64_t wallNs) {
    const struct {
        sock_extended_err error;
        sockaddr_in offender;
    } record{{.ee_origin = SO_EE_ORIGIN_ICMP, .ee_type = type},
             {.sin_family = AF_INET, .sin_addr = {kRouter}}};
    const timespec stamp{wallNs / 1'000'000'000, wallNs % 1'000'000'000};
    std::vector<std::uint8_t> control(CMSG_SPACE(sizeof stamp) + CMSG_SPACE(sizeof record));
    auto* header = reinterpret_cast<cmsghdr*>(control.data());
    *header = {CMSG_LEN(sizeof stamp), SOL_SOCKET, SO_TIMESTAMPNS};
    std::memcpy(CMSG_DATA(header), &stamp, sizeof stamp);
    header = reinterpret_cast<cmsghdr*>(control.data() + CMSG_SPACE(sizeof stamp));
    *header = {CMSG_LEN(sizeof record), SOL_IP, IP_RECVERR};
    std::memcpy(CMSG_DATA(header), &record, sizeof record);
    return control;
}

}  // namespace testing_support
