#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "support/scoped_registry.hpp"

namespace {

using Shared::Json::TcpTraceTest;

TcpTraceTest MakeTest(const std::wstring& uuid, const std::wstring& target) {
    TcpTraceTest test;
    test.testUuid = uuid;
    test.target = target;
    return test;
}

// The settings' test proves what the agent's look-up limit reads as; here, that each look-up
// gets it.
TEST(TargetResolution, DropsUnresolvableAndDuplicateTargetsLookingEachUpWithTheAgentsTimeOut) {
    const ScopedRegistry registry("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
                                  "\"dns-resolution-timeout\"=dword:000001f4\r\n");
    std::vector<std::uint32_t> timeouts;
    const std::map<std::wstring, std::vector<std::wstring>> found{  // "broken" throws
        {L"198.18.4.1", {L"198.18.4.1"}}, {L"alias", {L"198.18.4.1", L"198.18.9.9"}},
        {L"nothing", {}}, {L"198.18.9.9", {L"198.18.9.9"}}};
    const auto resolve = [&](const std::wstring& target, std::uint32_t ms) {
        timeouts.push_back(ms);
        return found.at(target);
    };
    std::vector<std::pair<std::wstring, std::wstring>> kept;
    for (const auto& test : HOPR::RemoveResolvedDuplicates(
             {MakeTest(L"a", L"198.18.4.1"), MakeTest(L"b", L"alias"), MakeTest(L"c", L"broken"),
              MakeTest(L"d", L"nothing"), MakeTest(L"e", L"198.18.9.9")},
             resolve)) {
        kept.emplace_back(test.testUuid, test.resolvedIp);
    }
    EXPECT_EQ(kept, (std::vector<std::pair<std::wstring, std::wstring>>{{L"a", L"198.18.4.1"},
                                                                        {L"e", L"198.18.9.9"}}));
    EXPECT_EQ(timeouts, std::vector<std::uint32_t>(5, 500));
}

// The tunnel adapter is the one with the split routes' gateway 0.0.0.0; without it, the
// physical one stands in; with no physical one there is nothing to bind.
TEST(InterfaceSelection, TunnelAdapterIsVirtualAndTheNextOneIsPhysical) {
    std::wstring physical, tunnel;
    const auto choose = [&](const std::vector<Shared::System::InterfaceDefaultGateway>& adapters) {
        HOPR::GetInterfaceAddresses(adapters, physical, tunnel);
        return physical + L" " + tunnel;
    };
    EXPECT_EQ(choose({{{L"198.18.60.2"}, {L"0.0.0.0"}},
                      {{L"198.18.1.2", L"198.18.1.3"}, {L"198.18.1.1"}}}),
              L"198.18.1.2 198.18.60.2");
    EXPECT_EQ(choose({{{L"198.18.1.3"}, {L"198.18.1.1"}}}), L"198.18.1.3 198.18.1.3");
    EXPECT_ANY_THROW(choose({{{L"198.18.60.2"}, {L"0.0.0.0"}}}));
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
