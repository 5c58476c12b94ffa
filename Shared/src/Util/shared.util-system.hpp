#pragma once
// Standard input, the local host name and the executable's directory.

#include <string>

namespace Shared::Util {

enum class ComputerNameFormat { DnsHostname, DnsFullyQualified };

// The next line of standard input without its line feed; throws "Failed reading line from
// std::cin" when the stream is already at its end or fails.
std::string ReadStdLine();

std::wstring GetHostname(ComputerNameFormat format);

// Throws std::runtime_error "GetCurrentExecutablePath() failed".
std::wstring GetCurrentExecutablePath();

// Throws std::runtime_error "GetCurrentExecutableDirectory() failed".
std::wstring GetCurrentExecutableDirectory();

// "{directory}/{file}" with the platform's separator.
std::string JoinPath(const std::string& directory, const std::string& file);

}  // namespace Shared::Util

namespace Shared::Util {

// The operating system's identifier of the calling thread, as shown in logs.
unsigned long CurrentThreadId() noexcept;

}  // namespace Shared::Util
