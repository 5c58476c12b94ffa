#pragma once
// How the Linux back end names this machine, apart from the resolver it asks.

#include <functional>
#include <optional>
#include <string>

namespace Shared::Util {

// A name's canonical DNS name as the resolver gives it, or nothing.
using CanonicalNameLookup = std::function<std::optional<std::string>(const std::string& name)>;

// The canonical DNS name of hostName, else hostName itself. A loopback alias ("localhost…")
// that /etc/hosts puts first on the host's line is not this machine's name.
std::string FullyQualifiedName(const std::string& hostName, const CanonicalNameLookup& lookup);

}  // namespace Shared::Util
