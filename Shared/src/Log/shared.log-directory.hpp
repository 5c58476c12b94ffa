#pragma once
// Where "-l f" writes. A build-tree program keeps its log beside itself; an installed one
// (under /usr on Linux) must not write into /usr/bin, so it writes to /var/log/hopr for root
// and to the user's XDG state directory for anyone else.

#include <string>

namespace Log {

// What the choice depends on, gathered from the running process by LogDirectory().
struct LogDirectoryContext {
    std::string executableDirectory;
    bool isRoot = false;
    std::string xdgStateHome;  // $XDG_STATE_HOME; ignored unless absolute, as XDG says
    std::string home;
};

// "/opt/hopr/bin" (not under /usr)        => "/opt/hopr/bin"
// "/usr/bin", root                        => "/var/log/hopr"
// "/usr/bin", XDG_STATE_HOME "/s"         => "/s/hopr"
// "/usr/bin", no XDG_STATE_HOME, home "/h" => "/h/.local/state/hopr"
// Throws RuntimeError when a user's directory is needed and home is not an absolute path.
std::string ChooseLogDirectory(const LogDirectoryContext& context);

// The directory for this process: Linux applies ChooseLogDirectory to the running process,
// Windows always answers the executable's directory.
std::string LogDirectory();

}  // namespace Log
