#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "Shared/src/Util/shared.util-windows.hpp"
#include "Shared/src/WinSock/shared.winsock-icmplistener.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"

namespace {

using namespace Shared::WinSock;
using Shared::Raii::NativeHandle;
using testing::HasSubstr;

// The platform's calls, except that a refused receive-all mode (Wine) does not end the bind: a
// raw ICMP socket gets every ICMP datagram regardless.
class WithoutReceiveAll final : public SystemCalls {
public:
    std::uint32_t Resolve(const std::wstring& host, std::uint32_t port,
                          std::vector<SocketAddress>& found) override {
        return real_.Resolve(host, port, found);
    }
    SocketHandle OpenStream(const SocketAddress& target) override { return real_.OpenStream(target); }
    SocketHandle OpenRawIcmp() override { return real_.OpenRawIcmp(); }
    bool BindToInterface(SocketHandle s, Ipv4Address a) override { return real_.BindToInterface(s, a); }
    bool BindStream(SocketHandle s, Ipv4Address a, std::uint16_t p) override {
        return real_.BindStream(s, a, p);
    }
    bool BindRaw(SocketHandle s, Ipv4Address a) override { return real_.BindRaw(s, a); }
    bool GetOption(SocketHandle s, SocketOption o, std::uint32_t& v) override {
        return real_.GetOption(s, o, v);
    }
    bool SetOption(SocketHandle s, SocketOption o, std::uint32_t v) override {
        return real_.SetOption(s, o, v);
    }
    ConnectWaitResult Connect(SocketHandle s, const SocketAddress& t,
                              std::span<const NativeHandle> wake, std::uint32_t ms) override {
        return real_.Connect(s, t, wake, ms);
    }
    bool LocalPort(SocketHandle s, std::uint16_t& p) override { return real_.LocalPort(s, p); }
    std::int64_t Send(SocketHandle s, std::span<const std::uint8_t> b) override { return real_.Send(s, b); }
    std::int64_t Receive(SocketHandle s, std::span<std::uint8_t> b) override { return real_.Receive(s, b); }
    void Close(SocketHandle s) noexcept override { real_.Close(s); }
    std::uint32_t LastError() noexcept override { return real_.LastError(); }
    bool EnableReceiveAll(SocketHandle s) override {
        real_.EnableReceiveAll(s);
        return true;
    }
    void EnlargeReceiveBuffer(SocketHandle s) noexcept override { real_.EnlargeReceiveBuffer(s); }
    NativeHandle WatchReadable(SocketHandle s) override { return real_.WatchReadable(s); }
    void ClearReadable(NativeHandle w) noexcept override { real_.ClearReadable(w); }
    void ReleaseWatch(NativeHandle w) noexcept override { real_.ReleaseWatch(w); }
    ReceiveResult ReceiveFrom(SocketHandle s, std::span<std::uint8_t> b) override {
        return real_.ReceiveFrom(s, b);
    }
    std::uint32_t ClosedSocketError() const noexcept override { return real_.ClosedSocketError(); }
    std::uint32_t TimedOutError() const noexcept override { return real_.TimedOutError(); }

private:
    SystemCalls& real_ = PlatformCalls();
};

// A time-exceeded message quoting a TCP probe from port 33000 to 127.0.0.1:80.
std::vector<std::uint8_t> TimeExceeded() {
    std::vector<std::uint8_t> icmp(8 + 20 + 8, 0);
    icmp[0] = 11;
    icmp[8] = 0x45;
    icmp[8 + 9] = IPPROTO_TCP;
    icmp[8 + 16] = 127, icmp[8 + 19] = 1;
    icmp[28] = 0x80, icmp[29] = 0xE8;
    icmp[31] = 80;
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < icmp.size(); i += 2) {
        sum += (icmp[i] << 8) | icmp[i + 1];
    }
    sum = (sum & 0xFFFF) + (sum >> 16);
    const auto checksum = static_cast<std::uint16_t>(~(sum + (sum >> 16)));
    icmp[2] = static_cast<std::uint8_t>(checksum >> 8), icmp[3] = static_cast<std::uint8_t>(checksum);
    return icmp;
}

void SendToLoopback(const std::vector<std::uint8_t>& icmp) {
    const SOCKET raw = ::socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    sockaddr_in loopback{};
    loopback.sin_family = AF_INET;
    loopback.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    ::sendto(raw, reinterpret_cast<const char*>(icmp.data()), static_cast<int>(icmp.size()), 0,
             reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback);
    ::closesocket(raw);
}

TEST(IcmpListenerWin, ReadsAnAnswerWhenItArrivesAndCloseEndsTheNextRead) {
    WinSockInitialiser winsock;
    winsock.Initialise();
    WithoutReceiveAll calls;
    ICMPListener listener(calls);
    listener.Bind(L"127.0.0.1");
    ICMPTCPResponse answer;
    std::string failure;
    std::thread reader([&] {
        try {
            answer = listener.ReadNextICMPResponse();
            listener.ReadNextICMPResponse();
        } catch (const std::exception& e) {
            failure = e.what();
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    SendToLoopback(TimeExceeded());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    listener.Close();
    reader.join();
    EXPECT_EQ(answer.from, ::htonl(INADDR_LOOPBACK));
    EXPECT_EQ(answer.originalDestination, ::htonl(INADDR_LOOPBACK));
    EXPECT_EQ(answer.sourcePort, 33000);
    EXPECT_EQ(answer.destinationPort, 80);
    EXPECT_THAT(failure, HasSubstr("recvfrom() failed"));
}

}  // namespace
