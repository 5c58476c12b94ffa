#include "Shared/src/Log/shared.log-directory.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace Log {
namespace {

std::string Environment(const char* name) {
    // Plain getenv, not secure_getenv: the package's file capability makes the program run in
    // secure mode, yet a user may still choose where their own log goes.
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string HomeDirectory() {
    if (auto home = Environment("HOME"); !home.empty()) {
        return home;
    }
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(16384);
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
        found == nullptr) {
        return {};
    }
    return found->pw_dir;
}

}  // namespace

std::string LogDirectory() {
    return ChooseLogDirectory({
        .executableDirectory =
            Shared::Util::ConvertErrorString(Shared::Util::GetCurrentExecutableDirectory()),
        .isRoot = ::geteuid() == 0,
        .xdgStateHome = Environment("XDG_STATE_HOME"),
        .home = HomeDirectory(),
    });
}

}  // namespace Log
