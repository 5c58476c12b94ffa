#include <gtest/gtest.h>

#include <cstdlib>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/System/shared.system-agentsettings.hpp"
#include "support/scoped_registry.hpp"

namespace {

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
