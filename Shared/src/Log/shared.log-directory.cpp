#include "Shared/src/Log/shared.log-directory.hpp"

#include "Shared/src/Exception/shared.exception-baseexception.hpp"

namespace Log {
namespace {

bool IsInstalled(const std::string& executableDirectory) {
    return executableDirectory == "/usr" || executableDirectory.starts_with("/usr/");
}

bool IsAbsolute(const std::string& path) { return path.starts_with('/'); }

}  // namespace

std::string ChooseLogDirectory(const LogDirectoryContext& context) {
    if (!IsInstalled(context.executableDirectory)) {
        return context.executableDirectory;
    }
    if (context.isRoot) {
        return "/var/log/hopr";
    }
    if (IsAbsolute(context.xdgStateHome)) {
        return context.xdgStateHome + "/hopr";
    }
    if (!IsAbsolute(context.home)) {
        throw Shared::Exception::RuntimeError("No home directory to keep the log file in");
    }
    return context.home + "/.local/state/hopr";
}

}  // namespace Log
