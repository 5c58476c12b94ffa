// A look-up in progress cannot be interrupted on Linux (getaddrinfo_a cannot cancel one either,
// and its hidden helper threads defeat ThreadSanitizer). So the look-up runs on a detached
// thread that owns its half of the result jointly with the caller: at the time-out the caller
// reports and goes, and the look-up, whenever it ends, hands its result to a state nobody reads.

#include "Shared/src/System/shared.system-hostresolver.hpp"
#include "Shared/src/System/shared.system-hostresolver_linux.hpp"

#include <arpa/inet.h>
#include <netdb.h>

#include <chrono>
#include <future>
#include <mutex>
#include <thread>

#include <fmt/format.h>

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

void QueryCompleteCallback(LookupOutcome outcome, std::promise<LookupOutcome>& completion) {
    if (outcome.error != 0) {
        Log::GuardedLog::Error("QueryCompleteCallback() failed: {}", ::gai_strerror(outcome.error));
        outcome.addresses.clear();
    }
    completion.set_value(std::move(outcome));
}

std::vector<std::wstring> ResolveWith(const BlockingLookup& lookup, const std::wstring& hostName,
                                      std::uint32_t timeoutMs) {
    std::lock_guard lock(gResolveMutex);
    const auto name = Shared::Util::ConvertStringType(hostName);
    std::promise<LookupOutcome> completion;
    auto result = completion.get_future();
    std::thread([lookup, name, completion = std::move(completion)]() mutable {
        try {
            QueryCompleteCallback(lookup(name), completion);
        } catch (...) {
            completion.set_exception(std::current_exception());
        }
    }).detach();
    if (result.wait_for(std::chrono::milliseconds(timeoutMs)) != std::future_status::ready) {
        throw Shared::Exception::RuntimeError(
            fmt::format("Address reolution for host name \"{}\" took longer than {} ms to complete.",
                        name, timeoutMs));
    }
    const auto outcome = result.get();
    if (outcome.error != 0) {
        throw Shared::Exception::RuntimeError(
            fmt::format("Failed to resolve address for host name \"{}\" with error: {}", name,
                        ::gai_strerror(outcome.error)));
    }
    return outcome.addresses;
}

std::vector<std::wstring> HostResolver::Resolve(const std::wstring& hostName,
                                                std::uint32_t timeoutMs) {
    return ResolveWith(SystemLookup, hostName, timeoutMs);
}

}  // namespace Shared::System
