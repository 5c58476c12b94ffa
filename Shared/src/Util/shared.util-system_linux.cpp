#include "Shared/src/Util/shared.util-system.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>


namespace Shared::Util {

std::wstring GetCurrentExecutablePath() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        throw std::runtime_error("GetCurrentExecutablePath() failed");
    }
    return executable.wstring();
}

std::wstring GetCurrentExecutableDirectory() {
    const std::filesystem::path executable(GetCurrentExecutablePath());
    if (!executable.has_parent_path()) {
        throw std::runtime_error("GetCurrentExecutableDirectory() failed");
    }
    return executable.parent_path().wstring();
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
