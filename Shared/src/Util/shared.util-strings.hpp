#pragma once
// Text in two forms: wide strings for addresses, targets and the operating system; UTF-8 for
// formatting, logs, host names and JSON.

#include <string>
#include <string_view>

namespace Shared::Util {

// UTF-16 (UTF-32 where wchar_t is 32 bits) to UTF-8; throws Win32Exception on invalid text.
std::string ConvertStringType(std::wstring_view wide);

// UTF-8 to wide; throws Win32Exception on invalid UTF-8.
std::wstring ConvertStringType(std::string_view narrow);

// Lower-cases each unit with the C library, then compares exactly.
bool EqualsIgnoreCase(std::wstring_view left, std::wstring_view right);

// Wide error text to UTF-8 that never throws: a failed conversion gives
// "Failed converting error string [1]: {code}" (or "[2]").
std::string ConvertErrorString(std::wstring_view wide) noexcept;

}  // namespace Shared::Util
