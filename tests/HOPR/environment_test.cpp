#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <system_error>
#include <tuple>

#include "HOPR/HOPR/hopr-cl.hpp"
#include "HOPR/HOPR/hopr-helpers.hpp"
#include "HOPR/HOPR/hopr-testpool.hpp"
#include "support/scoped_registry.hpp"

namespace {

using Shared::Json::TcpTraceTest;

HOPR::CommandLineArguments Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "hopr");
    return HOPR::ParseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

// The lab runs `test ... -l f` and `json -l n|c|f`; the log mode may also come first.
TEST(CommandLine, TestSubcommandWithTheLogModeFirstJsonWithItLastAndBadCommandLines) {
    const auto test = Parse({"-l", "b", "test", "10.0.0.1", "-p", "443", "-r", "3", "-t", "2",
                             "-u", "5", "--interface", "192.168.1.5"});
    EXPECT_EQ(std::tuple(test.isJson, test.loggingMode, test.target, test.interfaceAddress),
              std::tuple(false, Log::LoggingMode::ConsoleAndFile, std::wstring(L"10.0.0.1"),
                         std::wstring(L"192.168.1.5")));
    EXPECT_EQ(std::vector({test.port, test.repeats, test.timeout, test.maxUnknown}),
              std::vector({443u, 3u, 2u, 5u}));
    const auto json = Parse({"-l", "c", "json"});
    EXPECT_EQ(std::pair(json.isJson, json.loggingMode), std::pair(true, Log::LoggingMode::Console));

    const std::vector<std::vector<const char*>> bad = {
        {"json"}, {"-l", "n"}, {"json", "test", "-l", "n"}, {"-h"},
        {"test", "10.0.0.1", "-p", "x", "-r", "3", "-t", "2", "-u", "5", "-l", "f"},
        {"test", "10.0.0.1", "-r", "3", "-t", "2", "-u", "5", "-l", "f"},
        {"json", "-l", "x"}, {"json", "-l", "nn"}, {"json", "-l", "N"}, {"json", "-l", ""}};
    for (const auto& arguments : bad) {
        EXPECT_ANY_THROW(Parse(arguments)) << testing::PrintToString(arguments);
    }
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
    std::vector<TcpTraceTest> tests;
    for (const auto* target : {L"198.18.4.1", L"alias", L"broken", L"nothing", L"198.18.9.9"}) {
        tests.push_back({.target = target, .testUuid = target});
    }
    std::vector<std::pair<std::wstring, std::wstring>> kept;
    for (const auto& test : HOPR::RemoveResolvedDuplicates(tests, resolve)) {
        kept.emplace_back(test.testUuid, test.resolvedIp);
    }
    EXPECT_EQ(kept, (std::vector<std::pair<std::wstring, std::wstring>>{
                        {L"198.18.4.1", L"198.18.4.1"}, {L"198.18.9.9", L"198.18.9.9"}}));
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
        return HOPR::ShouldRun({.muRunTestsFromTrustedNetworks = trusted,
                                .muRunTestsFromUntrustedNetworksWithVPNDisabled = untrustedNoVpn});
    };
    EXPECT_EQ(std::vector({runs("connected", false, false), runs("connected-non-vm", true, true),
                           runs("internal", false, true), runs("connected-internal", true, false),
                           runs("disconnected", true, false), runs("disabled", false, true)}),
              std::vector({true, false, false, true, false, true}));
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
        // Connected runs every test; the other key's state would run none.
        return HOPR::ShouldRun(TcpTraceTest{});
    };
    EXPECT_EXIT(std::exit(accessAgentDecides() ? 0 : 1), testing::ExitedWithCode(0), "");
}

// The lab runs a concurrent run under a thread limit; here, the system refuses every thread.
TEST(TestPool, StartTimesAreOrderedWithinTheBoundAndWithNoThreadTheCallerRunsEveryTest) {
    using std::chrono::milliseconds;
    const auto before = std::chrono::steady_clock::now();
    const auto tests = HOPR::DrawStartTimes(40, 3);
    EXPECT_TRUE(std::is_sorted(tests.begin(), tests.end(),
                               [](const auto& a, const auto& b) { return a.startAt < b.startAt; }));
    EXPECT_GE(tests.front().startAt, before + milliseconds(1));
    EXPECT_LE(tests.back().startAt, std::chrono::steady_clock::now() + milliseconds(3));
    std::vector<int> runs(40);
    HOPR::RunOnThreads(
        tests, 4,
        [&, caller = std::this_thread::get_id()](const HOPR::ScheduledTest& test) {
            ++runs.at(test.index);
            EXPECT_EQ(std::this_thread::get_id(), caller);
        },
        [](std::function<void()>) -> std::thread {
            throw std::system_error(EAGAIN, std::generic_category(), "thread");
        });
    EXPECT_EQ(runs, std::vector<int>(40, 1));
}

}  // namespace
