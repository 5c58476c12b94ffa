#pragma once
// The Linux resolver around any blocking look-up, so that one that never returns can be tried.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Shared/src/Raii/shared.raii-win32handle.hpp"

namespace Shared::System {

struct LookupOutcome {
    int error = 0;  // a getaddrinfo() code
    std::vector<std::wstring> addresses;
};

using BlockingLookup = std::function<LookupOutcome(const std::string& hostName)>;

// HostResolver::Resolve with the look-up given; it runs on a thread of its own, which is left
// to finish alone when the time-out, or a signal of one of `giveUpOn`, comes first.
std::vector<std::wstring> ResolveWith(const BlockingLookup& lookup, const std::wstring& hostName,
                                      std::uint32_t timeoutMs,
                                      const std::vector<Shared::Raii::NativeHandle>& giveUpOn = {});

}  // namespace Shared::System
