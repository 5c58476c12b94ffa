#pragma once
// Where the Linux build keeps the agent's settings.

#include <string>

namespace Shared::System {

// $HOPR_REGISTRY_FILE, default /etc/hopr/registry.reg.
std::string RegistryFilePath();

}  // namespace Shared::System
