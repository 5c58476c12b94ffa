#include "Shared/src/System/shared.system-privileges.hpp"

namespace Shared::System {

// A Windows process keeps its token; the raw sockets need it elevated for the whole run.
void DropPrivileges(const LaterNeeds&) {}

}  // namespace Shared::System
