#include "Shared/src/Util/shared.util-system.hpp"
#include "Shared/src/Util/shared.util-system_linux.hpp"

#include <fcntl.h>
#include <netdb.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::Util {
namespace {

// What `hostname -f` reports; /etc/hosts answers before any name server is asked.
std::optional<std::string> ResolverCanonicalName(const std::string& name) {
    addrinfo hints{};
    hints.ai_flags = AI_CANONNAME;
    addrinfo* result = nullptr;
    if (::getaddrinfo(name.c_str(), nullptr, &hints, &result) != 0) {
        return std::nullopt;
    }
    std::optional<std::string> canonical;
    if (result != nullptr && result->ai_canonname != nullptr) {
        canonical = result->ai_canonname;
    }
    ::freeaddrinfo(result);
    return canonical;
}

}  // namespace

std::string FullyQualifiedName(const std::string& hostName, const CanonicalNameLookup& lookup) {
    const auto canonical = lookup(hostName);
    const bool isLoopbackAlias = canonical && canonical->starts_with("localhost") &&
                                 !hostName.starts_with("localhost");
    return canonical && !canonical->empty() && !isLoopbackAlias ? *canonical : hostName;
}

std::wstring GetHostname(ComputerNameFormat format) {
    utsname names{};
    if (::uname(&names) != 0) {
        throw Shared::Exception::Win32Exception("GetComputerNameEx() failed",
                                                static_cast<std::uint32_t>(errno));
    }
    const std::string name = names.nodename;
    if (format != ComputerNameFormat::DnsFullyQualified) {
        return ConvertStringType(name);
    }
    // Once per process: every result asks, and a name server that does not answer would
    // hold up each of them.
    static const std::wstring fullyQualified =
        ConvertStringType(FullyQualifiedName(name, ResolverCanonicalName));
    return fullyQualified;
}

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
