#include <gtest/gtest.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "support/scoped_registry.hpp"

namespace {

// What the resolver is handed for each test: the agent's time-out, 15000 ms without one.
std::vector<std::uint32_t> TimeoutsGiven(const std::string& registryBody) {
    const ScopedRegistry registry(registryBody);
    std::vector<std::uint32_t> timeouts;
    Shared::Json::TcpTraceTest first;
    first.testUuid = L"u-1";
    first.target = L"slow.lab";
    auto second = first;
    second.testUuid = L"u-2";
    HOPR::RemoveResolvedDuplicates({first, second}, [&](const std::wstring&, std::uint32_t ms) {
        timeouts.push_back(ms);
        return std::vector<std::wstring>{L"198.18.4.1"};
    });
    return timeouts;
}

TEST(TargetResolution, TheLookUpTimeOutIs15000MsUnlessTheAgentSetsOne) {
    using Timeouts = std::vector<std::uint32_t>;
    EXPECT_EQ(TimeoutsGiven(""), (Timeouts{15000, 15000}));
    EXPECT_EQ(TimeoutsGiven("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
                            "\"dns-resolution-timeout\"=dword:000001f4\r\n"),
              (Timeouts{500, 500}));
    EXPECT_EQ(TimeoutsGiven("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
                            "\"dns-resolution-timeout\"=\"500\"\r\n"),
              (Timeouts{15000, 15000}));
}

}  // namespace
