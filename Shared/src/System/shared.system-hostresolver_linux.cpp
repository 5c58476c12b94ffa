// A look-up in progress cannot be interrupted on Linux (getaddrinfo_a cannot cancel one either,
// and its hidden helper threads defeat ThreadSanitizer). So the look-up runs on a thread that is
// abandoned at the time-out or when the run is asked to stop; whenever it ends, it hands its
// result to a state nobody reads. It never logs: the caller reports, while the logger lives.

#include "Shared/src/System/shared.system-hostresolver.hpp"
#include "Shared/src/System/shared.system-hostresolver_linux.hpp"

#include <arpa/inet.h>
#include <netdb.h>

#include <mutex>

#include <fmt/format.h>

#include "Shared/src/Concurrency/shared.concurrency-abandonable.hpp"
#include "Shared/src/Concurrency/shared.concurrency-termination.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::System {
namespace {

std::mutex gResolveMutex;

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

LookupOutcome SystemLookup(const std::string& hostName) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;  // one entry per address, not one per socket type
    addrinfo* result = nullptr;
    LookupOutcome outcome;
    outcome.error = ::getaddrinfo(hostName.c_str(), nullptr, &hints, &result);
    if (result != nullptr) {
        outcome.addresses = Ipv4Texts(result);
        ::freeaddrinfo(result);
    }
    return outcome;
}

}  // namespace

std::vector<std::wstring> ResolveWith(const BlockingLookup& lookup, const std::wstring& hostName,
                                      std::uint32_t timeoutMs,
                                      const std::vector<Shared::Raii::NativeHandle>& giveUpOn) {
    std::lock_guard lock(gResolveMutex);
    const auto name = Shared::Util::ConvertStringType(hostName);
    const auto outcome = Shared::Concurrency::CallAbandonable<LookupOutcome>(
        [lookup, name] { return lookup(name); }, timeoutMs, giveUpOn);
    if (!outcome.value) {
        throw Shared::Exception::RuntimeError(
            detail::UnfinishedMessage(name, timeoutMs, outcome.givenUp));
    }
    if (outcome.value->error != 0) {
        const std::string text = ::gai_strerror(outcome.value->error);
        Log::GuardedLog::Error("QueryCompleteCallback() failed: {}", text);
        throw Shared::Exception::RuntimeError(
            fmt::format("Failed to resolve address for host name \"{}\" with error: {}", name,
                        text));
    }
    return outcome.value->addresses;
}

std::vector<std::wstring> HostResolver::Resolve(const std::wstring& hostName,
                                                std::uint32_t timeoutMs) {
    return ResolveWith(SystemLookup, hostName, timeoutMs,
                       {Shared::Concurrency::TerminationEvent().Handle()});
}

}  // namespace Shared::System
