#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Shared/src/System/shared.system-hostresolver.hpp"
#include "Shared/src/System/shared.system-interfaces.hpp"
#include "Shared/src/Util/shared.util-system.hpp"
#include "Shared/src/WinSock/shared.winsock-socket.hpp"

namespace {

TEST(SystemServices, ResolverAnswersLiteralsAndLocalNames) {
    Shared::WinSock::WinSockInitialiser winsock;
    winsock.Initialise();
    using Shared::System::HostResolver;
    EXPECT_EQ(HostResolver::Resolve(L"127.0.0.1", 5000), std::vector<std::wstring>{L"127.0.0.1"});
    EXPECT_THAT(HostResolver::Resolve(L"localhost", 5000), testing::Contains(L"127.0.0.1"));
}

TEST(SystemServices, AdaptersHaveAddressesAndGateways) {
    for (const auto& adapter : Shared::System::GetUsableAdapters()) {
        EXPECT_FALSE(adapter.addresses.empty());
        EXPECT_FALSE(adapter.gateways.empty());
        EXPECT_THAT(adapter.addresses, testing::Not(testing::Contains(L"")));
    }
}

TEST(SystemServices, HostAndExecutableNames) {
    EXPECT_FALSE(Shared::Util::GetHostname(Shared::Util::ComputerNameFormat::DnsFullyQualified)
                     .empty());
    const auto directory = Shared::Util::GetCurrentExecutableDirectory();
    EXPECT_THAT(directory, testing::EndsWith(L"\\tests"));
    EXPECT_EQ(Shared::Util::JoinPath("C:\\agent", "velmora_hopr.log"), "C:\\agent\\velmora_hopr.log");
}

}  // namespace
