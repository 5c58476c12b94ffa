#pragma once
// One client TCP socket towards one destination, with the two options tracing needs: the IP
// time-to-live and the bound on how long a connect keeps retrying its SYN. A handle serves one
// connection attempt; Open() gives the object a fresh one.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"

#if defined(_WIN32)
struct addrinfoW;
#else
struct addrinfo;
#endif

namespace Shared::WinSock {

#if defined(_WIN32)
using SocketHandle = std::uintptr_t;
inline constexpr SocketHandle kInvalidSocket = ~SocketHandle{0};
using AddressInfo = ::addrinfoW;
#else
using SocketHandle = int;
inline constexpr SocketHandle kInvalidSocket = -1;
using AddressInfo = ::addrinfo;
#endif

// True for the outcome of a probe whose TTL ran out before the destination: not worth a log line.
bool IsProbeExpiryError(std::uint32_t code) noexcept;

class Socket {
public:
    Socket(std::wstring address, std::uint32_t port);
    virtual ~Socket();
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    // Takes address, port, handle and family; the address information list stays behind.
    Socket& operator=(Socket&& other) noexcept;

    virtual void Open();
    virtual void Bind(const std::wstring& localAddress, std::uint16_t localPort);
    // Sets the TTL and the retry time-out only when non-zero, then connects (blocking).
    virtual void Connect(std::uint32_t ttl, std::uint32_t retrySeconds);
    void Connect() { Connect(0, 0); }
    virtual void Close() noexcept;
    virtual void Send(const std::vector<std::uint8_t>& bytes);
    virtual std::vector<std::uint8_t> Receive(std::uint32_t maximumBytes);
    virtual void SetSocketTTL(std::uint32_t ttl);
    virtual void SetMaxRetryTimeout(std::uint32_t seconds);
    virtual const std::wstring& Address() const noexcept { return address_; }
    virtual std::uint32_t Port() const noexcept { return port_; }
    virtual std::uint32_t GetLocalPort();
    virtual SocketHandle Handle() const noexcept { return handle_; }

private:
    struct AddrInfoDeleter {
        void operator()(AddressInfo* list) const noexcept;
    };

    bool HasHandle() const noexcept;
    // A blocking connect to the first address that Open() found.
    void ConnectToTarget();

    std::wstring address_;
    std::uint32_t port_;
    SocketHandle handle_ = kInvalidSocket;
    int family_ = 0;
    std::unique_ptr<AddressInfo, AddrInfoDeleter> addressInfo_;
};

// Starts the socket library once for the process; stops it when destroyed.
class WinSockInitialiser {
public:
    WinSockInitialiser() = default;
    ~WinSockInitialiser();
    WinSockInitialiser(const WinSockInitialiser&) = delete;
    WinSockInitialiser& operator=(const WinSockInitialiser&) = delete;

    void Initialise();

private:
    bool initialised_ = false;
};

}  // namespace Shared::WinSock
