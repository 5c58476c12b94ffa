// The lookup runs on a thread of its own and reports through a completion routine that signals
// an event; the caller waits on the event for at most the time-out. A lookup in progress
// cannot be interrupted on Linux (getaddrinfo_a cannot cancel one either, and its hidden helper
// threads defeat ThreadSanitizer), so after a time-out the caller still waits for it to end
// before the context goes out of scope, then reports the time-out.

#include "Shared/src/System/shared.system-hostresolver.hpp"

#include <arpa/inet.h>
#include <netdb.h>

#include <mutex>
#include <thread>

#include <fmt/format.h>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::System {
namespace {

std::mutex gResolveMutex;

struct QueryContext {
    Shared::Concurrency::Event done{true};
    int error = 0;
    std::vector<std::wstring> addresses;
};

std::vector<std::wstring> Ipv4Texts(const addrinfo* list) {
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

}  // namespace

void QueryCompleteCallback(int error, const addrinfo* result, QueryContext& context) {
    if (error != 0) {
        context.error = error;
        context.done.Signal();
        Log::GuardedLog::Error("QueryCompleteCallback() failed: {}", ::gai_strerror(error));
        return;
    }
    context.addresses = Ipv4Texts(result);
    context.error = 0;
    context.done.Signal();
}

std::vector<std::wstring> HostResolver::Resolve(const std::wstring& hostName,
                                                std::uint32_t timeoutMs) {
    std::lock_guard lock(gResolveMutex);
    const auto name = Shared::Util::ConvertStringType(hostName);
    QueryContext context;
    std::jthread lookup([&] {
        addrinfo hints{};
        hints.ai_family = AF_INET;
        addrinfo* result = nullptr;
        const int error = ::getaddrinfo(name.c_str(), nullptr, &hints, &result);
        QueryCompleteCallback(error, result, context);
        if (result != nullptr) {
            ::freeaddrinfo(result);
        }
    });
    if (!context.done.WaitOnEvent(timeoutMs, false)) {
        lookup.join();
        throw Shared::Exception::RuntimeError(
            fmt::format("Address reolution for host name \"{}\" took longer than {} ms to complete.",
                        name, timeoutMs));
    }
    lookup.join();
    if (context.error != 0) {
        throw Shared::Exception::RuntimeError(
            fmt::format("Failed to resolve address for host name \"{}\" with error: {}", name,
                        ::gai_strerror(context.error)));
    }
    return context.addresses;
}

}  // namespace Shared::System
