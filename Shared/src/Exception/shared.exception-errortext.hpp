#pragma once
// Operating-system error codes turned into the texts that exceptions carry.

#include <cstdint>
#include <string>

namespace Shared::Exception {

// The message table an error code is looked up in.
enum class ErrorModule { System, WinSock, NtDll };

// System text for a code with one trailing "\r\n" removed; a code the system does not know
// gives "Failed to translate Win32 error code: {code}".
std::string TranslateSystemError(std::uint32_t code);

// Text from a module's message table, kept exactly as the system gives it (line break included).
std::string TranslateModuleError(std::uint32_t code, ErrorModule module);

// Whether the module's message table can be reached at all.
bool ModuleAvailable(ErrorModule module) noexcept;

// The plain-language hint for a few well-known codes; empty for every other code.
std::string HintFor(std::uint32_t code);

std::string StripOneTrailingCrLf(std::string text);

std::string UntranslatableText(std::uint32_t code);

// Destructors cannot throw, so a failed handle close is told on the error stream.
void ReportHandleCloseFailure(std::uint32_t code) noexcept;

}  // namespace Shared::Exception
