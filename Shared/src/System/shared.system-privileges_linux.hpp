#pragma once
// The rules behind DropPrivileges on Linux, apart from the process they are applied to.

#include <string>
#include <vector>

namespace Shared::System::detail {

// Linux 5.7 lets a socket that is not yet tied to a device be tied (SO_BINDTODEVICE,
// SO_BINDTOIFINDEX) without CAP_NET_RAW. "5.10.0-26-amd64" => true, "4.18.0" => false;
// a release that does not parse => false.
bool KernelBindsToDeviceUnprivileged(const std::string& release);

struct FileMode {
    unsigned uid;
    unsigned gid;
    unsigned mode;  // st_mode
};

struct Identity {
    unsigned uid;                 // effective
    std::vector<unsigned> gids;   // effective and supplementary
};

// Whether the mode bits alone grant `who` every access in `wanted` (R_OK, W_OK, X_OK bits), as
// the kernel decides for a process without CAP_DAC_OVERRIDE: the owner's bits for the owner
// (uid 0 included), else the group's for a member, else the others'.
bool ModeGrants(const FileMode& file, const Identity& who, int wanted);

}  // namespace Shared::System::detail
