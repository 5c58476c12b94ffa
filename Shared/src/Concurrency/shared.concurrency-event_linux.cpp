#include "Shared/src/Concurrency/shared.concurrency-event.hpp"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cctype>
#include <filesystem>

#include <fmt/format.h>

#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::Concurrency {
namespace {

std::string EventDirectory() {
    const char* directory = std::getenv("HOPR_EVENT_DIR");
    return directory && *directory ? directory : "/run/hopr";
}

[[noreturn]] void ThrowLastError(const char* message) {
    const auto error = static_cast<std::uint32_t>(errno);
    throw Shared::Exception::Win32Exception(message, error);
}

// True when this call made the FIFO. `printf x > path` with no FIFO there leaves a regular file,
// which would read as signalled in every later run: a request nobody waits for any more.
bool MakeFifo(const std::string& path) {
    if (::mkfifo(path.c_str(), 0600) == 0) {
        return true;
    }
    struct stat existing {};
    if (errno != EEXIST || ::lstat(path.c_str(), &existing) != 0) {
        ThrowLastError("Failed to create or open event");
    }
    if (S_ISFIFO(existing.st_mode)) {
        return false;
    }
    Log::GuardedLog::Warn("Replacing {}: not a FIFO, a stale stop request", path);
    if (::unlink(path.c_str()) != 0 || ::mkfifo(path.c_str(), 0600) != 0) {
        ThrowLastError("Failed to create or open event");
    }
    return true;
}

}  // namespace

std::string Event::PathForName(const std::wstring& name) {
    const auto utf8 = Shared::Util::ConvertStringType(name);
    std::string file;
    for (const unsigned char c : utf8) {
        if (std::isalnum(c) || c == '-' || c == '_' || (c == '.' && !file.empty())) {
            file += static_cast<char>(c);
        } else {
            file += fmt::format("%{:02X}", c);
        }
    }
    return EventDirectory() + "/" + file;
}

void Event::InternalCreate(bool openExisting, unsigned long /*access*/,
                           const std::wstring& /*securityDescriptor*/) {
    if (name_.empty()) {
        const int fd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        if (fd < 0) {
            ThrowLastError("Failed to create or open event");
        }
        Adopt(fd);
        return;
    }
    const auto path = PathForName(name_);
    if (!openExisting) {
        std::error_code ignored;
        std::filesystem::create_directories(EventDirectory(), ignored);
        if (MakeFifo(path)) {
            createdPath_ = path;
        }
    }
    // Opened read-write so the FIFO never reports hang-up and a writer never blocks.
    const int fd = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        const int error = errno;
        if (!createdPath_.empty()) {
            ::unlink(createdPath_.c_str());
            createdPath_.clear();
        }
        errno = error;
        ThrowLastError("Failed to create or open event");
    }
    Adopt(fd);
}

Event::~Event() {
    detail::UnregisterAutoReset(handle_.Get());
    handle_.Close();
    if (!createdPath_.empty()) {
        ::unlink(createdPath_.c_str());
    }
}

void Event::Signal() {
    if (!handle_.IsValid()) {
        throw Shared::Exception::RuntimeError("No Event to signal");
    }
    const std::uint64_t one = 1;
    const auto size = name_.empty() ? sizeof one : 1;
    if (::write(handle_.Get(), &one, size) < 0 && errno != EAGAIN) {
        ThrowLastError("Failed to signal event");
    }
}

void Event::Reset() {
    if (!handle_.IsValid()) {
        throw Shared::Exception::RuntimeError("No Event to reset");
    }
    std::uint64_t sink = 0;
    while (::read(handle_.Get(), &sink, sizeof sink) > 0) {
    }
    if (errno != EAGAIN) {
        ThrowLastError("ResetEvent() failed");
    }
}

}  // namespace Shared::Concurrency
