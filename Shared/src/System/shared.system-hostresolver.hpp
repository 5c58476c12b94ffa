#pragma once
// Forward resolution of a target name to IPv4 addresses, with a time-out after which the
// lookup is given up; a request to terminate (TerminationEvent) gives it up at once. One
// lookup is waited for at a time in the whole process.

#include <cstdint>
#include <string>
#include <vector>

namespace Shared::System {

class HostResolver {
public:
    // The IPv4 address texts in the resolver's order. Throws the base exception
    // "Failed to resolve address for host name \"{name}\" with error: {text}" or
    // "Address reolution for host name \"{name}\" took longer than {ms} ms to complete.", or
    // "Address resolution for host name \"{name}\" was given up: the run is stopping.".
    static std::vector<std::wstring> Resolve(const std::wstring& hostName,
                                             std::uint32_t timeoutMs);
};

namespace detail {

// Why a look-up was left unfinished: its time ran out, or the run is stopping.
std::string UnfinishedMessage(const std::string& name, std::uint32_t timeoutMs, bool givenUp);

}  // namespace detail

}  // namespace Shared::System
