#include <gtest/gtest.h>

#include "Shared/src/KR/shared.kr-functions.hpp"
#include "Shared/src/Log/shared.log-settings.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "Shared/src/System/shared.system-regfile.hpp"
#include "Shared/src/System/shared.system-registry.hpp"
#include "support/scoped_registry.hpp"

namespace {

using namespace Shared::System;

constexpr const char* kAgent = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n";
constexpr const char* kConfig = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia\\Config]\r\n";

TEST(RegistryExport, ReadsTypesCaseInsensitivelyAndSkipsMalformedLines) {
    const auto registry = RegistryExport::Parse(
        "REGEDIT4\n"
        "; a comment\n"
        "[hkey_local_machine\\Software\\VELMORA\\Orvia]\n"
        "\"Count\"=dword:0000000a\n"
        "\"Name\"=\"say \\\"hi\\\" \\\\ bye\"\n"
        "\"Binary\"=hex:01,02\n"
        "\"Broken\"=dword:xyz\n"
        "this line is nonsense\n"
        "[HKEY_CURRENT_USER\\Software\\Velmora\\Orvia]\n"
        "\"Other\"=dword:00000001\n");
    const auto* count = registry.Find(L"SOFTWARE\\Velmora\\Orvia", L"count");
    ASSERT_NE(count, nullptr);
    EXPECT_EQ(count->type, RegistryValue::Type::Dword);
    EXPECT_EQ(count->dword, 10u);
    ASSERT_NE(registry.Find(L"software\\velmora\\orvia", L"NAME"), nullptr);
    EXPECT_EQ(registry.Find(L"software\\velmora\\orvia", L"NAME")->text, L"say \"hi\" \\ bye");
    EXPECT_EQ(registry.Find(L"SOFTWARE\\Velmora\\Orvia", L"Binary")->type,
              RegistryValue::Type::Other);
    EXPECT_EQ(registry.Find(L"SOFTWARE\\Velmora\\Orvia", L"Broken"), nullptr);
    EXPECT_EQ(registry.Find(L"SOFTWARE\\Velmora\\Orvia", L"Other"), nullptr);
}

TEST(RegistryExport, ReadsUtf16WithBomAndRejectsAFileWithoutHeader) {
    const std::string text =
        "Windows Registry Editor Version 5.00\r\n[HKEY_LOCAL_MACHINE\\K]\r\n\"V\"=\"\xE2\x82\xAC\"\r\n";
    std::string utf16 = "\xFF\xFE";
    for (const wchar_t c : std::wstring(L"Windows Registry Editor Version 5.00\r\n[HKEY_LOCAL_MACHINE\\K]\r\n\"V\"=\"\u20AC\"\r\n")) {
        utf16 += static_cast<char>(c & 0xFF);
        utf16 += static_cast<char>((c >> 8) & 0xFF);
    }
    EXPECT_EQ(RegistryExport::Parse(utf16).Find(L"K", L"V")->text, L"\u20AC");
    EXPECT_EQ(RegistryExport::Parse(text).Find(L"K", L"V")->text, L"\u20AC");
    EXPECT_EQ(RegistryExport::Parse("[HKEY_LOCAL_MACHINE\\K]\n\"V\"=\"x\"\n").Find(L"K", L"V"),
              nullptr);
}

TEST(AgentSettings, WrongTypesReadAsAbsentAndDefaultsApply) {
    {
        const ScopedRegistry registry(std::string(kAgent) +
                                      "\"HostResolutionWorkerCount\"=\"5\"\r\n"
                                      "\"IsHostResolutionEnabled\"=dword:00000000\r\n" +
                                      kConfig + "\"TcpTraceOverrideConnectionTimeout\"=dword:00000001\r\n");
        EXPECT_EQ(AgentSettings::HostResolutionWorkerCount(), 3u);
        EXPECT_FALSE(AgentSettings::IsHostResolutionEnabled());
        EXPECT_EQ(AgentSettings::ConnectionTimeoutOverride(), 1u);
        EXPECT_EQ(AgentSettings::DnsResolutionTimeoutMs(), 15000u);
    }
    {
        const ScopedRegistry registry(std::string(kAgent) + "\"HostResolutionWorkerCount\"=dword:00000002\r\n" +
                                      "\"dns-resolution-timeout\"=dword:000001f4\r\n" + kConfig +
                                      "\"TcpTraceOverrideConnectionTimeout\"=dword:00000007\r\n");
        EXPECT_EQ(AgentSettings::HostResolutionWorkerCount(), 2u);
        EXPECT_TRUE(AgentSettings::IsHostResolutionEnabled());
        EXPECT_EQ(AgentSettings::ConnectionTimeoutOverride(), 7u);
        EXPECT_EQ(AgentSettings::DnsResolutionTimeoutMs(), 500u);
    }
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

    const ScopedRegistry registry(std::string(kConfig) +
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
}

}  // namespace
