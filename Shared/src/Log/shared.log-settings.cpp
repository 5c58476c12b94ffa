#include "Shared/src/Log/shared.log-settings.hpp"

#include <cwctype>
#include <string>

#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "Shared/src/System/shared.system-registry.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Log {

spdlog::level::level_enum ParseMinimumLogLevel(std::wstring_view word) {
    std::wstring lower(word);
    for (auto& c : lower) {
        c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    }
    std::string narrow;
    try {
        narrow = Shared::Util::ConvertStringType(lower);
    } catch (const std::exception&) {
        return spdlog::level::info;
    }
    auto level = spdlog::level::off;
    if (narrow == "warn") {
        level = spdlog::level::warn;
    } else if (narrow == "err") {
        level = spdlog::level::err;
    } else {
        for (int i = spdlog::level::trace; i < spdlog::level::n_levels; ++i) {
            const auto candidate = static_cast<spdlog::level::level_enum>(i);
            if (narrow == std::string_view(spdlog::level::to_string_view(candidate).data(),
                                           spdlog::level::to_string_view(candidate).size())) {
                level = candidate;
            }
        }
    }
    return level == spdlog::level::off ? spdlog::level::info : level;
}

LoggingMode ParseLogTarget(std::wstring_view word) {
    if (Shared::Util::EqualsIgnoreCase(word, L"console")) {
        return LoggingMode::Console;
    }
    if (Shared::Util::EqualsIgnoreCase(word, L"eventlog")) {
        return LoggingMode::EventLog;
    }
    return LoggingMode::File;
}

LoggingSettings ReadLoggingSettings() {
    using namespace Shared::System;
    const auto& key = AgentSettings::kAgentConfigKey;
    LoggingSettings settings;
    if (const auto level = ReadRegistryString(key, L"MinimumLogLevel")) {
        settings.minimumLogLevel = static_cast<std::uint32_t>(ParseMinimumLogLevel(*level));
    }
    settings.maxLogFiles = ReadRegistryDword(key, L"MaxLogFiles").value_or(4);
    settings.maxLogFileSize = ReadRegistryDword(key, L"MaxLogFileSize").value_or(10485760);
    if (const auto target = ReadRegistryString(key, L"LogTarget")) {
        settings.logTarget = static_cast<std::uint32_t>(ParseLogTarget(*target));
    }
    return settings;
}

}  // namespace Log
