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
    using Log::ParseLogTarget;
    using Log::ParseMinimumLogLevel;
    EXPECT_EQ(ParseMinimumLogLevel(L"OFF"), spdlog::level::info);
    EXPECT_EQ(ParseMinimumLogLevel(L"Warn"), spdlog::level::warn);
    EXPECT_EQ(ParseMinimumLogLevel(L"warning"), spdlog::level::warn);
    EXPECT_EQ(ParseMinimumLogLevel(L"err"), spdlog::level::err);
    EXPECT_EQ(ParseMinimumLogLevel(L"DEBUG"), spdlog::level::debug);
    EXPECT_EQ(ParseMinimumLogLevel(L"verbose"), spdlog::level::info);
    EXPECT_EQ(ParseLogTarget(L"CONSOLE"), Log::LoggingMode::Console);
    EXPECT_EQ(ParseLogTarget(L"EventLog"), Log::LoggingMode::EventLog);
    EXPECT_EQ(ParseLogTarget(L"FileSystem"), Log::LoggingMode::File);
    EXPECT_EQ(ParseLogTarget(L"anything"), Log::LoggingMode::File);

    const ScopedRegistry registry(kConfig +
                                  "\"MinimumLogLevel\"=\"critical\"\r\n"
                                  "\"MaxLogFiles\"=dword:00000002\r\n"
                                  "\"MaxLogFileSize\"=\"1024\"\r\n"
                                  "\"LogTarget\"=\"console\"\r\n");
    const auto settings = Log::ReadLoggingSettings();
    EXPECT_EQ(settings.minimumLogLevel, static_cast<std::uint32_t>(spdlog::level::critical));
    EXPECT_EQ(settings.maxLogFiles, 2u);
    EXPECT_EQ(settings.maxLogFileSize, 10485760u);
    EXPECT_EQ(settings.logTarget, 2u);
}

TEST(VpnStatus, TextsMapExactlyAndAnythingElseIsDisconnected) {
    using Shared::KR::VpnConnectionStatus;
    const auto statusFor = [](const std::string& value, std::wstring* raw = nullptr) {
        const ScopedRegistry registry(
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand\\Orvia]\r\n\"tunnel-status\"=" +
            value + "\r\n");
        return Shared::KR::GetVpnConnectionStatus(raw);
    };
    EXPECT_EQ(statusFor("\"connected\""), VpnConnectionStatus::Connected);
    EXPECT_EQ(statusFor("\"connected-internal\""), VpnConnectionStatus::ConnectedInternal);
    EXPECT_EQ(statusFor("\"internal\""), VpnConnectionStatus::Internal);
    EXPECT_EQ(statusFor("\"connected-non-vm\""), VpnConnectionStatus::ConnectedNonVm);
    EXPECT_EQ(statusFor("\"disabled\""), VpnConnectionStatus::Disabled);
    std::wstring raw;
    EXPECT_EQ(statusFor("\"Connected\"", &raw), VpnConnectionStatus::Disconnected);
    EXPECT_EQ(raw, L"Connected");
    EXPECT_EQ(statusFor("dword:00000001", &raw), VpnConnectionStatus::Disconnected);
    EXPECT_EQ(raw, L"disconnected");
    // A REG_SZ "connected\0x": the text ends at the zero, on both back ends.
    EXPECT_EQ(statusFor("hex(1):63,6f,6e,6e,65,63,74,65,64,00,78,00", &raw),
              VpnConnectionStatus::Connected);
    EXPECT_EQ(raw, L"connected");
}

}  // namespace
