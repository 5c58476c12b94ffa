#pragma once
// Least privilege: opening the raw ICMP listeners is what needs privilege. Once they are open,
// the process gives up every capability that the rest of the run does not need, before it
// starts a thread, decodes a datagram from the network or looks a name up.

#include <cstdint>
#include <string>

namespace Shared::System {

// What the rest of the run will do that privilege might be needed for.
struct LaterNeeds {
    std::uint16_t lowestFixedPort = 0;  // lowest local port a probe binds itself; 0: none
    std::string logDirectory;           // where log files are rotated; empty: no log file
};

// Linux: drops every capability (effective, permitted, inheritable, ambient and, when allowed,
// the bounding set) but those `needs` calls for, and logs what it kept. Must be called while
// the process has one thread: capabilities belong to threads. Throws RuntimeError when the
// system refuses. Windows: nothing; a process keeps the token it was started with.
void DropPrivileges(const LaterNeeds& needs);

}  // namespace Shared::System
