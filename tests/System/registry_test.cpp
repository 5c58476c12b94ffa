#include <gtest/gtest.h>

#include "Shared/src/KR/shared.kr-functions.hpp"
#include "Shared/src/Log/shared.log-settings.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "support/scoped_registry.hpp"

namespace {

using namespace Shared::System;

const std::string kAgent = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n";
const std::string kConfig = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia\\Config]\r\n";

TEST(AgentSettings, WrongTypesReadAsAbsentAndDefaultsApply) {
    const auto read = [](const std::string& agent, const std::string& config) {
        const ScopedRegistry registry(kAgent + agent + kConfig + config);
        return std::vector<std::uint32_t>{AgentSettings::HostResolutionWorkerCount(),
                                          AgentSettings::IsHostResolutionEnabled(),
                                          AgentSettings::ConnectionTimeoutOverride(),
                                          AgentSettings::DnsResolutionTimeoutMs()};
    };
    const std::string timeout = "\"TcpTraceOverrideConnectionTimeout\"=dword:0000000";
    EXPECT_EQ(read("\"HostResolutionWorkerCount\"=\"5\"\r\n"
                   "\"IsHostResolutionEnabled\"=dword:00000000\r\n",
                   timeout + "1\r\n"),
              (std::vector<std::uint32_t>{3, 0, 1, 15000}));
    EXPECT_EQ(read("\"HostResolutionWorkerCount\"=dword:00000002\r\n"
                   "\"dns-resolution-timeout\"=dword:000001f4\r\n",
                   timeout + "7\r\n"),
              (std::vector<std::uint32_t>{2, 1, 7, 500}));
    EXPECT_EQ(read("\"HostResolutionWorkerCount\"=dword:ffffffff\r\n", "")[0], 64u);
}

TEST(LoggingSettings, LevelAndTargetWords) {
    using namespace Log;
    using enum spdlog::level::level_enum;
    const std::pair<const wchar_t*, spdlog::level::level_enum> levels[] = {
        {L"OFF", info}, {L"Warn", warn}, {L"warning", warn}, {L"err", err}, {L"DEBUG", debug},
        {L"verbose", info}};
    for (const auto& [word, level] : levels) {
        EXPECT_EQ(ParseMinimumLogLevel(word), level) << word;
    }
    EXPECT_EQ(ParseLogTarget(L"EventLog"), LoggingMode::EventLog);
    EXPECT_EQ(ParseLogTarget(L"anything"), LoggingMode::File);

    const ScopedRegistry registry(kConfig +
                                  "\"MinimumLogLevel\"=\"critical\"\r\n"
                                  "\"MaxLogFiles\"=dword:00000002\r\n"
                                  "\"MaxLogFileSize\"=\"1024\"\r\n"
                                  "\"LogTarget\"=\"console\"\r\n");
    const auto read = ReadLoggingSettings();
    EXPECT_EQ((std::vector{read.minimumLogLevel, read.maxLogFiles, read.maxLogFileSize,
                           read.logTarget}),
              (std::vector<std::uint32_t>{critical, 2, 10485760, 2}));
}

// The mapping itself is the VPN gate's table; here, the text handed back and other value types.
TEST(VpnStatus, RawTextOfAnyValueType) {
    const auto rawFor = [](const std::string& value) {
        const ScopedRegistry registry(
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand\\Orvia]\r\n\"tunnel-status\"=" +
            value + "\r\n");
        std::wstring raw;
        return std::pair{Shared::KR::GetVpnConnectionStatus(&raw), raw};
    };
    using enum Shared::KR::VpnConnectionStatus;
    EXPECT_EQ(rawFor("\"Connected\""), std::pair(Disconnected, std::wstring(L"Connected")));
    EXPECT_EQ(rawFor("dword:00000001"), std::pair(Disconnected, std::wstring(L"disconnected")));
    // A REG_SZ "connected\0x": the text ends at the zero, on both back ends.
    EXPECT_EQ(rawFor("hex(1):63,6f,6e,6e,65,63,74,65,64,00,78,00"),
              std::pair(Connected, std::wstring(L"connected")));
}

}  // namespace
