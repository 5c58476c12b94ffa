#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-termination.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "support/captured_log.hpp"
#include "support/scoped_registry.hpp"

namespace {

using Shared::Json::TcpTraceTest;

TcpTraceTest MakeTest(const std::wstring& uuid, const std::wstring& target) {
    TcpTraceTest test;
    test.testUuid = uuid;
    test.target = target;
    return test;
}

TEST(TargetResolution, DropsUnresolvableAndDuplicateTargets) {
    const CapturedLog log;
    const auto resolve = [](const std::wstring& target, std::uint32_t) -> std::vector<std::wstring> {
        if (target == L"broken") {
            throw std::runtime_error("lookup failed");
        }
        if (target == L"nothing") {
            return {};
        }
        return {target == L"alias" ? L"198.18.4.1" : target, L"198.18.9.9"};
    };
    const auto kept = HOPR::RemoveResolvedDuplicates(
        {MakeTest(L"a", L"198.18.4.1"), MakeTest(L"b", L"alias"), MakeTest(L"c", L"broken"),
         MakeTest(L"d", L"nothing"), MakeTest(L"e", L"198.18.9.9")},
        resolve);
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(kept[0].testUuid, L"a");
    EXPECT_EQ(kept[0].resolvedIp, L"198.18.4.1");
    EXPECT_EQ(kept[1].testUuid, L"e");
    EXPECT_THAT(log.Text(), testing::HasSubstr("Ignoring duplicate test b"));
    EXPECT_THAT(log.Text(), testing::HasSubstr(
                                "Failed processing IP for test c against target broken. This test "
                                "will be skipped. Error: lookup failed"));
    EXPECT_THAT(log.Text(), testing::HasSubstr("Found no IPs for test d against target nothing."));
}

// The look-up that a request to terminate abandons, and those after it, are not dropped.
TEST(TargetResolution, OnTerminateTheTestsLeftAreKeptUnresolved) {
    const CapturedLog log;
    auto& termination = Shared::Concurrency::TerminationEvent();
    const auto kept = HOPR::RemoveResolvedDuplicates(
        {MakeTest(L"a", L"198.18.4.1"), MakeTest(L"b", L"hangs"), MakeTest(L"c", L"later")},
        [&](const std::wstring& target, std::uint32_t) -> std::vector<std::wstring> {
            if (target == L"hangs") {
                termination.Signal();
                throw std::runtime_error("given up");
            }
            return {target};
        });
    termination.Reset();
    ASSERT_EQ(kept.size(), 3u);
    EXPECT_EQ(kept[0].resolvedIp, L"198.18.4.1");
    EXPECT_EQ(kept[1].testUuid, L"b");
    EXPECT_TRUE(kept[2].resolvedIp.empty());
    EXPECT_THAT(log.Text(), testing::HasSubstr("the remaining 2 tests are not looked up."));
}

// What the agent's setting reads as is the settings' test; here, that every look-up gets it.
TEST(TargetResolution, EveryLookUpGetsTheAgentsTimeOut) {
    const ScopedRegistry registry("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
                                  "\"dns-resolution-timeout\"=dword:000001f4\r\n");
    std::vector<std::uint32_t> timeouts;
    HOPR::RemoveResolvedDuplicates({MakeTest(L"u-1", L"slow.lab"), MakeTest(L"u-2", L"slow.lab")},
                                   [&](const std::wstring&, std::uint32_t ms) {
                                       timeouts.push_back(ms);
                                       return std::vector<std::wstring>{L"198.18.4.1"};
                                   });
    EXPECT_EQ(timeouts, (std::vector<std::uint32_t>{500, 500}));
}

TEST(InterfaceSelection, TunnelAdapterIsVirtualAndTheNextOneIsPhysical) {
    std::wstring physical, tunnel;
    HOPR::GetInterfaceAddresses({{{L"198.18.60.2"}, {L"0.0.0.0"}},
                                 {{L"198.18.1.2", L"198.18.1.3"}, {L"198.18.1.1"}}},
                                physical, tunnel);
    EXPECT_EQ(physical, L"198.18.1.2");
    EXPECT_EQ(tunnel, L"198.18.60.2");

    const CapturedLog log;
    HOPR::GetInterfaceAddresses({{{L"198.18.1.2"}, {L"198.18.1.1"}}}, physical, tunnel);
    EXPECT_EQ(tunnel, L"198.18.1.2");
    EXPECT_THAT(log.Text(), testing::HasSubstr("No active interface with route 0.0.0.0 found"));
    EXPECT_ANY_THROW(HOPR::GetInterfaceAddresses({{{L"198.18.60.2"}, {L"0.0.0.0"}}}, physical, tunnel));
    EXPECT_ANY_THROW(HOPR::GetInterfaceAddresses({}, physical, tunnel));
}

TEST(VpnGate, DecisionTable) {
    const auto runs = [](const char* status, bool trusted, bool untrustedNoVpn) {
        const ScopedRegistry registry(
            std::string("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand\\Orvia]\r\n"
                        "\"tunnel-status\"=\"") + status + "\"\r\n");
        TcpTraceTest test;
        test.muRunTestsFromTrustedNetworks = trusted;
        test.muRunTestsFromUntrustedNetworksWithVPNDisabled = untrustedNoVpn;
        return HOPR::ShouldRun(test);
    };
    EXPECT_TRUE(runs("connected", false, false));
    EXPECT_FALSE(runs("connected-non-vm", true, true));
    EXPECT_FALSE(runs("internal", false, true));
    EXPECT_TRUE(runs("connected-internal", true, false));
    EXPECT_FALSE(runs("disconnected", true, false));
    EXPECT_TRUE(runs("disabled", false, true));
}

// The VPN client key is chosen once per process, so the choice is made in a fresh one: the
// "threadsafe" style runs the statement in a newly started copy of this program.
TEST(VpnClientKeyDeathTest, TheAccessAgentKeyWinsWhenBothKeysExist) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto accessAgentDecides = [] {
        const ScopedRegistry registry(
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand\\Orvia]\r\n"
            "\"tunnel-status\"=\"connected-non-vm\"\r\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Quillon Agent]\r\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Quillon Agent\\Orvia]\r\n"
            "\"tunnel-status\"=\"connected\"\r\n");
        using namespace Shared::System::AgentSettings;
        const bool chosen = VpnClientKey() == kAccessAgentKey;
        // Connected runs every test; the other key's state would run none.
        return chosen && HOPR::ShouldRun(Shared::Json::TcpTraceTest{});
    };
    EXPECT_EXIT(std::exit(accessAgentDecides() ? 0 : 1), testing::ExitedWithCode(0), "");
}

}  // namespace
