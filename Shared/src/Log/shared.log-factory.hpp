#pragma once

#include <cstdint>
#include <string>

#include <spdlog/common.h>

#include "Shared/src/Log/shared.log-settings.hpp"

namespace Log {

// Builds the "default" logger for the mode and installs it as spdlog's default. The file sink
// writes {LogDirectory()}/{fileName}, creating the directory. Throws "Unsupported LogTarget"
// for a mode above 5.
void CreateLogger(LoggingMode mode, spdlog::level::level_enum level, const std::string& fileName,
                  std::uint32_t maxFiles, std::uint32_t maxFileSize);

// Flushes the default logger every 5 seconds, on a thread of spdlog's: started apart from the
// logger so that the program can give up its privileges before any thread exists.
void StartPeriodicFlush();

}  // namespace Log
