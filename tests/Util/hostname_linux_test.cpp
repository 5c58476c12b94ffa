#include <gtest/gtest.h>

#include <string>

#include "Shared/src/Util/shared.util-system.hpp"
#include "Shared/src/Util/shared.util-system_linux.hpp"

namespace {

using Shared::Util::FullyQualifiedName;

TEST(HostName, FullyQualifiedComesFromTheHostsFileElseTheResolversDomain) {
    const struct {
        const char *host, *hosts, *resolvConf, *expected;
    } cases[] = {
        {"vm", "127.0.0.1 localhost\n127.0.1.1 vm.lab.example vm # mine\n", "domain corp.example",
         "vm.lab.example"},
        {"vm", "127.0.0.1 localhost.localdomain vm\n", "", "vm"},
        {"vm", "127.0.1.1 vm\n#198.18.0.1 vm.old.example vm\n", "domain lab.example",
         "vm.lab.example"},
        {"vm", "", "search lab.example corp.example\ndomain corp.example\n", "vm.corp.example"},
        {"vm", "", "# domain old.example\nsearch lab.example corp.example\n", "vm.lab.example"},
        {"vm.lab.example", "", "domain corp.example", "vm.lab.example"},
        {"vm", "198.18.0.1 other.example\n", "nameserver 198.18.0.53\n", "vm"},
    };
    for (const auto& [host, hosts, resolvConf, expected] : cases) {
        EXPECT_EQ(FullyQualifiedName(host, hosts, resolvConf), expected) << hosts << resolvConf;
    }
}

TEST(HostName, TheSystemsNameNeverCarriesTheNisDomain) {
    using Shared::Util::ComputerNameFormat;
    const auto shortName = Shared::Util::GetHostname(ComputerNameFormat::DnsHostname);
    const auto fullName = Shared::Util::GetHostname(ComputerNameFormat::DnsFullyQualified);
    ASSERT_FALSE(fullName.empty());
    EXPECT_EQ(fullName.find(L"(none)"), std::wstring::npos);
    EXPECT_EQ(shortName.find(L"(none)"), std::wstring::npos);
    EXPECT_EQ(Shared::Util::GetHostname(ComputerNameFormat::DnsFullyQualified), fullName);
}

}  // namespace
