#pragma once
// Where log output goes and how much of it, from the command line and the agent's settings.

#include <cstdint>
#include <string_view>

#include <spdlog/common.h>

namespace Log {

enum class LoggingMode : std::uint32_t {
    None = 0,
    EventLog = 1,
    Console = 2,
    File = 3,
    ConsoleAndFile = 4,
    ConsoleAndEventLog = 5,
};

struct LoggingSettings {
    std::uint32_t maxLogFiles = 4;
    std::uint32_t maxLogFileSize = 10485760;
    std::uint32_t logTarget = static_cast<std::uint32_t>(LoggingMode::File);
    std::uint32_t minimumLogLevel = spdlog::level::info;
};

// Missing values keep their defaults; never throws for a missing value.
LoggingSettings ReadLoggingSettings();

// Level word, case-insensitive; unknown words and "off" give info: logging is never switched off.
spdlog::level::level_enum ParseMinimumLogLevel(std::wstring_view word);

// "console" gives Console, "eventlog" EventLog, anything else File; case-insensitive.
LoggingMode ParseLogTarget(std::wstring_view word);

}  // namespace Log
