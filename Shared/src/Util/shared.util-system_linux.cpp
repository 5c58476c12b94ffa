#include "Shared/src/Util/shared.util-system.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::Util {

// Widened and narrowed as UTF-8, not through the locale: the program runs in the C locale, which
// cannot convert a folder name that is not ASCII.
std::wstring GetCurrentExecutablePath() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        throw std::runtime_error("GetCurrentExecutablePath() failed");
    }
    return ConvertStringType(executable.native());
}

std::wstring GetCurrentExecutableDirectory() {
    const std::filesystem::path executable(ConvertStringType(GetCurrentExecutablePath()));
    if (!executable.has_parent_path()) {
        throw std::runtime_error("GetCurrentExecutableDirectory() failed");
    }
    return ConvertStringType(executable.parent_path().native());
}

std::string JoinPath(const std::string& directory, const std::string& file) {
    return directory + "/" + file;
}

void GuardStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        // The lowest free number is the closed stream's own.
        if (::fcntl(stream, F_GETFD) == -1 && errno == EBADF) {
            ::open("/dev/null", O_RDWR);
        }
    }
    ::signal(SIGPIPE, SIG_IGN);
}

}  // namespace Shared::Util

namespace Shared::Util {

unsigned long CurrentThreadId() noexcept {
    return static_cast<unsigned long>(::gettid());
}

void RaiseOpenFileLimit() noexcept {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

}  // namespace Shared::Util
