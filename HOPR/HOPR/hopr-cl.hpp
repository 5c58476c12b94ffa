#pragma once
// The command line: `hopr json -l <mode>` for the agent, `hopr test <target> ...` by hand.

#include <cstdint>
#include <string>

#include "Shared/src/Log/shared.log-settings.hpp"

namespace HOPR {

struct CommandLineArguments {
    Log::LoggingMode loggingMode = Log::LoggingMode::ConsoleAndFile;
    std::uint32_t maxUnknown = 0;
    std::uint32_t timeout = 0;  // seconds
    std::uint32_t repeats = 0;
    std::wstring target;
    std::uint32_t port = 0;
    std::wstring interfaceAddress;
    bool isJson = false;
};

// Throws on any parse error (also for -h/--help, which is never answered with a help page).
CommandLineArguments ParseCommandLine(int argc, const char* const* argv);

// "n", "c", "f" or "b", exactly; anything else throws "Unknown logging mode option".
Log::LoggingMode ParseLogArgument(std::string argument);

void PrintUsage();

}  // namespace HOPR
