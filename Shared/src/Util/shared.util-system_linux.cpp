#include "Shared/src/Util/shared.util-system.hpp"

#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::Util {

std::wstring GetHostname(ComputerNameFormat format) {
    utsname names{};
    if (::uname(&names) != 0) {
        throw Shared::Exception::Win32Exception("GetComputerNameEx() failed",
                                                static_cast<std::uint32_t>(errno));
    }
    std::string name = names.nodename;
    const std::string domain = names.domainname;
    // The kernel's domain name, not a resolver lookup: no traffic leaves for a name we own.
    if (format == ComputerNameFormat::DnsFullyQualified && !domain.empty() &&
        domain != "(none)" && name.find('.') == std::string::npos) {
        name += "." + domain;
    }
    return ConvertStringType(name);
}

std::wstring GetCurrentExecutableDirectory() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error || !executable.has_parent_path()) {
        throw std::runtime_error("GetCurrentExecutableDirectory() failed");
    }
    return executable.parent_path().wstring();
}

std::string JoinPath(const std::string& directory, const std::string& file) {
    return directory + "/" + file;
}

}  // namespace Shared::Util

namespace Shared::Util {

unsigned long CurrentThreadId() noexcept {
    return static_cast<unsigned long>(::gettid());
}

}  // namespace Shared::Util
