// glibc's getaddrinfo_a runs the lookup on a helper thread; gai_suspend bounds the wait and
// gai_cancel abandons it. A lookup already in progress cannot be cancelled, so after a time-out
// we still wait for it to finish before the request block goes out of scope.

#include "Shared/src/System/shared.system-hostresolver.hpp"

#include <arpa/inet.h>
#include <netdb.h>
#include <signal.h>

#include <cerrno>
#include <chrono>
#include <mutex>

#include <fmt/format.h>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::System {
namespace {

std::mutex gResolveMutex;

struct FreeAddrInfo {
    void operator()(addrinfo* list) const noexcept { ::freeaddrinfo(list); }
};

// Completion: collects the IPv4 texts, or reports the failure code.
std::vector<std::wstring> QueryCompleteCallback(int error, const addrinfo* list) {
    if (error != 0) {
        Log::GuardedLog::Error("QueryCompleteCallback() failed: {}", ::gai_strerror(error));
        return {};
    }
    std::vector<std::wstring> addresses;
    for (const auto* entry = list; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_family != AF_INET) {
            continue;
        }
        char text[INET_ADDRSTRLEN] = {};
        const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(entry->ai_addr);
        if (::inet_ntop(AF_INET, &ipv4->sin_addr, text, sizeof text) != nullptr) {
            addresses.push_back(Shared::Util::ConvertStringType(std::string_view(text)));
        }
    }
    return addresses;
}

void WaitUntilDone(gaicb* request) {
    const gaicb* list[] = {request};
    while (::gai_error(request) == EAI_INPROGRESS) {
        ::gai_suspend(list, 1, nullptr);
    }
}

// Waits at most `timeoutMs`; false when the lookup is still running.
bool WaitFor(gaicb* request, std::uint32_t timeoutMs) {
    const gaicb* list[] = {request};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (::gai_error(request) == EAI_INPROGRESS) {
        const auto left = deadline - std::chrono::steady_clock::now();
        if (left <= std::chrono::nanoseconds::zero()) {
            return false;
        }
        const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
        const timespec timeout{static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
        ::gai_suspend(list, 1, &timeout);
    }
    return true;
}

}  // namespace

std::vector<std::wstring> HostResolver::Resolve(const std::wstring& hostName,
                                                std::uint32_t timeoutMs) {
    std::lock_guard lock(gResolveMutex);
    const auto name = Shared::Util::ConvertStringType(hostName);
    addrinfo hints{};
    hints.ai_family = AF_INET;
    gaicb request{};
    request.ar_name = name.c_str();
    request.ar_request = &hints;
    gaicb* requests[] = {&request};
    sigevent notify{};
    notify.sigev_notify = SIGEV_NONE;

    const int started = ::getaddrinfo_a(GAI_NOWAIT, requests, 1, &notify);
    if (started != 0) {
        return QueryCompleteCallback(started, nullptr);
    }
    const bool finished = WaitFor(&request, timeoutMs);
    if (!finished) {
        ::gai_cancel(&request);
        WaitUntilDone(&request);
    }
    std::unique_ptr<addrinfo, FreeAddrInfo> result(request.ar_result);
    if (!finished) {
        throw Shared::Exception::RuntimeError(
            fmt::format("Address reolution for host name \"{}\" took longer than {} ms to complete.",
                        name, timeoutMs));
    }
    const int error = ::gai_error(&request);
    if (error != 0) {
        QueryCompleteCallback(error, nullptr);
        throw Shared::Exception::RuntimeError(fmt::format(
            "Failed to resolve address for host name \"{}\" with error: {}", name,
            ::gai_strerror(error)));
    }
    return QueryCompleteCallback(0, result.get());
}

}  // namespace Shared::System
