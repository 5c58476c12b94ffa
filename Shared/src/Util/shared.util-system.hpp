#pragma once
// Standard input and output, the local host name and the executable's directory.

#include <string>

namespace Shared::Util {

enum class ComputerNameFormat { DnsHostname, DnsFullyQualified };

// The next line of standard input without its line feed; throws "Failed reading line from
// std::cin" when the stream is already at its end or fails.
std::string ReadStdLine();

// Linux: a standard stream that the parent closed is opened on /dev/null, so that no file or
// socket opened later takes its number (the results would be written into it); a write to
// standard output after its reader has gone fails with EPIPE instead of ending the process
// unseen by SIGPIPE. Windows: nothing to do.
void GuardStandardStreams();

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

// A concurrent run holds descriptors per test; where the system's soft limit on open files is
// below its hard limit (often 1024 of many more), it is raised to the hard limit.
void RaiseOpenFileLimit() noexcept;

}  // namespace Shared::Util
