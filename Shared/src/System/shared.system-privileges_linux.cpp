// Capabilities on Linux, through libcap-ng. What a run does after its raw sockets are open, and
// what that needs:
// - probe sockets are tied to their interface (SO_BINDTOIFINDEX, with --interface too): nothing
//   since Linux 5.7, which allows it for a socket not yet tied to a device; CAP_NET_RAW before.
// - local ports that the system picks come from ip_local_port_range, which the kernel keeps at
//   or above ip_unprivileged_port_start: nothing. An agent's fixed range below that start
//   needs CAP_NET_BIND_SERVICE.
// - files made later (a rotated log, the exit-event FIFO and its directory) are made as the
//   same user, and the settings file is read at every lookup. Root without CAP_DAC_OVERRIDE
//   obeys the mode bits as their owner does, which /var/log/hopr, /run/hopr and
//   /etc/hopr/registry.reg allow; kept only where the bits would refuse it.
// - the log file, the syslog socket and the listeners' receive buffers (SO_RCVBUFFORCE) are set
//   up before; connects, reads, name look-ups and the settings file need nothing.

#include "Shared/src/System/shared.system-privileges.hpp"
#include "Shared/src/System/shared.system-privileges_linux.hpp"

#include <cap-ng.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/System/shared.system-registry_linux.hpp"

namespace Shared::System {
namespace detail {

bool KernelBindsToDeviceUnprivileged(const std::string& release) {
    unsigned major = 0;
    unsigned minor = 0;
    if (std::sscanf(release.c_str(), "%u.%u", &major, &minor) != 2) {
        return false;
    }
    return major > 5 || (major == 5 && minor >= 7);
}

bool ModeGrants(const FileMode& file, const Identity& who, int wanted) {
    unsigned shift = 0;
    if (file.uid == who.uid) {
        shift = 6;
    } else if (std::find(who.gids.begin(), who.gids.end(), file.gid) != who.gids.end()) {
        shift = 3;
    }
    const auto needed = static_cast<unsigned>(wanted);
    return ((file.mode >> shift) & needed) == needed;
}

}  // namespace detail

namespace {

namespace fs = std::filesystem;
using detail::Identity;

Identity ProcessIdentity() {
    Identity who{::geteuid(), {::getegid()}};
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(::getgroups(0, nullptr), 0)));
    const int count = ::getgroups(static_cast<int>(groups.size()), groups.data());
    who.gids.insert(who.gids.end(), groups.begin(), groups.begin() + std::max(count, 0));
    return who;
}

bool Grants(const fs::path& path, const Identity& who, int wanted) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 &&
           detail::ModeGrants({status.st_uid, status.st_gid, status.st_mode}, who, wanted);
}

bool EveryParentPasses(const fs::path& path, const Identity& who) {
    for (auto up = path.parent_path(); !up.empty(); up = up.parent_path()) {
        if (!Grants(up, who, X_OK)) {
            return false;
        }
        if (up == up.parent_path()) {
            return true;
        }
    }
    return false;
}

// Files can be made, renamed and removed in it, after making it and its parents if need be.
bool CanWriteIn(const fs::path& directory, const Identity& who) {
    std::error_code error;
    auto existing = fs::absolute(directory, error);
    while (!existing.empty() && !fs::exists(existing, error) &&
           existing != existing.parent_path()) {
        existing = existing.parent_path();
    }
    return Grants(existing, who, W_OK | X_OK) && EveryParentPasses(existing, who);
}

// A missing settings file means the defaults, with or without privilege.
bool CanReadSettings(const Identity& who) {
    std::error_code error;
    const auto path = fs::absolute(RegistryFilePath(), error);
    return !fs::exists(path, error) || (Grants(path, who, R_OK) && EveryParentPasses(path, who));
}

unsigned UnprivilegedPortStart() {
    std::ifstream file("/proc/sys/net/ipv4/ip_unprivileged_port_start");
    unsigned start = 0;
    return file >> start ? start : 1024;
}

std::vector<unsigned> NeededCapabilities(const LaterNeeds& needs) {
    std::vector<unsigned> needed;
    utsname system{};
    if (::uname(&system) != 0 || !detail::KernelBindsToDeviceUnprivileged(system.release)) {
        needed.push_back(CAP_NET_RAW);
    }
    if (needs.lowestFixedPort != 0 && needs.lowestFixedPort < UnprivilegedPortStart()) {
        needed.push_back(CAP_NET_BIND_SERVICE);
    }
    const auto who = ProcessIdentity();
    if ((!needs.logDirectory.empty() && !CanWriteIn(needs.logDirectory, who)) ||
        !CanReadSettings(who)) {
        needed.push_back(CAP_DAC_OVERRIDE);
    }
    return needed;
}

}  // namespace

void DropPrivileges(const LaterNeeds& needs) {
    capng_get_caps_process();
    std::vector<unsigned> kept;
    std::vector<std::string> names;
    for (const auto capability : NeededCapabilities(needs)) {
        if (capng_have_capability(CAPNG_PERMITTED, capability)) {
            kept.push_back(capability);
            names.emplace_back(capng_capability_to_name(capability));
        }
    }
    // The bounding set limits what a later exec could gain; only CAP_SETPCAP may shrink it.
    const auto scope = capng_have_capability(CAPNG_EFFECTIVE, CAP_SETPCAP)
                           ? CAPNG_SELECT_ALL
                           : static_cast<capng_select_t>(CAPNG_SELECT_CAPS | CAPNG_SELECT_AMBIENT);
    capng_clear(CAPNG_SELECT_ALL);
    for (const auto capability : kept) {
        capng_update(CAPNG_ADD,
                     static_cast<capng_type_t>(CAPNG_EFFECTIVE | CAPNG_PERMITTED |
                                               CAPNG_BOUNDING_SET),
                     capability);
    }
    if (capng_apply(scope) != 0) {
        throw Shared::Exception::RuntimeError("Failed to give up the process's capabilities");
    }
    Log::GuardedLog::Info("Gave up every capability but: {}",
                          names.empty() ? "none" : fmt::format("{}", fmt::join(names, ", ")));
}

}  // namespace Shared::System
