#include "Shared/src/Util/shared.util-system.hpp"

#include <filesystem>
#include <stdexcept>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

namespace Shared::Util {
namespace {

COMPUTER_NAME_FORMAT ToSystemFormat(ComputerNameFormat format) {
    return format == ComputerNameFormat::DnsFullyQualified ? ComputerNameDnsFullyQualified
                                                           : ComputerNameDnsHostname;
}

}  // namespace

std::wstring GetHostname(ComputerNameFormat format) {
    const auto systemFormat = ToSystemFormat(format);
    DWORD length = 0;
    if (!::GetComputerNameExW(systemFormat, nullptr, &length) &&
        ::GetLastError() != ERROR_MORE_DATA) {
        const auto error = static_cast<std::uint32_t>(::GetLastError());
        throw Shared::Exception::Win32Exception("GetComputerNameEx() failed", error);
    }
    if (length == 0) {
        return {};
    }
    std::wstring name(length, L'\0');
    if (!::GetComputerNameExW(systemFormat, name.data(), &length)) {
        const auto error = static_cast<std::uint32_t>(::GetLastError());
        throw Shared::Exception::Win32Exception("GetComputerNameEx() failed", error);
    }
    name.resize(length);
    return name;
}

std::wstring GetCurrentExecutablePath() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) {
            throw std::runtime_error("GetCurrentExecutablePath() failed");
        }
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

std::wstring GetCurrentExecutableDirectory() {
    const auto directory = std::filesystem::path(GetCurrentExecutablePath()).parent_path();
    if (directory.empty()) {
        throw std::runtime_error("GetCurrentExecutableDirectory() failed");
    }
    return directory.wstring();
}

std::string JoinPath(const std::string& directory, const std::string& file) {
    return directory + "\\" + file;
}

void GuardStandardStreams() {}

unsigned long CurrentThreadId() noexcept {
    return ::GetCurrentThreadId();
}

void RaiseOpenFileLimit() noexcept {
    // Handles have no per-process soft limit to raise.
}

}  // namespace Shared::Util
