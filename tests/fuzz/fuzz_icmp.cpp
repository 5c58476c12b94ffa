#include <cstring>
#include <vector>

#include "Shared/src/WinSock/shared.winsock-icmpdecode.hpp"

// The listener's receive buffer is always 65535 bytes; the datagram fills its front.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::vector<std::uint8_t> buffer(65535);
    if (size > buffer.size()) {
        return 0;
    }
    std::memcpy(buffer.data(), data, size);
    const auto probe = Shared::WinSock::DecodeTimeExceeded(buffer, size);
    const std::size_t outerHeader = size > 0 ? (data[0] & 0x0F) * 4u : 0;
    if (probe && size < outerHeader + 8 + 20) {
        __builtin_trap();  // accepted without an ICMP header and a whole quoted IPv4 header
    }
    return 0;
}
