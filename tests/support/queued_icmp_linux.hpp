#pragma once
// The control messages recvmsg(MSG_ERRQUEUE) gives for an ICMP error on a probe's socket: the
// kernel's receive time, then the error with the router as its offender.

#include <ctime>  // before the kernel's header, which uses timespec without including it
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace testing_support {

inline std::vector<std::uint8_t> QueuedIcmp(std::uint8_t type, std::uint32_t offender,
                                            std::int64_t wallNs) {
    struct {
        sock_extended_err error;
        sockaddr_in offender;
    } record{};
    record.error.ee_origin = SO_EE_ORIGIN_ICMP;
    record.error.ee_type = type;
    record.offender.sin_family = AF_INET;
    record.offender.sin_addr.s_addr = offender;
    const timespec stamp{wallNs / 1'000'000'000, wallNs % 1'000'000'000};
    std::vector<std::uint8_t> control(CMSG_SPACE(sizeof stamp) + CMSG_SPACE(sizeof record));
    msghdr message{};
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    auto* header = CMSG_FIRSTHDR(&message);
    *header = {CMSG_LEN(sizeof stamp), SOL_SOCKET, SO_TIMESTAMPNS};
    std::memcpy(CMSG_DATA(header), &stamp, sizeof stamp);
    header = CMSG_NXTHDR(&message, header);
    *header = {CMSG_LEN(sizeof record), SOL_IP, IP_RECVERR};
    std::memcpy(CMSG_DATA(header), &record, sizeof record);
    return control;
}

}  // namespace testing_support
