#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "Shared/src/Util/shared.util-system.hpp"
#include "Shared/src/Util/shared.util-system_linux.hpp"

namespace {

using Shared::Util::FullyQualifiedName;

TEST(HostName, FullyQualifiedIsTheCanonicalNameElseTheHostNameItself) {
    std::vector<std::string> asked;
    const auto answering = [&](std::optional<std::string> canonical) {
        return [&asked, canonical](const std::string& name) {
            asked.push_back(name);
            return canonical;
        };
    };
    EXPECT_EQ(FullyQualifiedName("vm", answering("vm.lab.example")), "vm.lab.example");
    EXPECT_EQ(asked, std::vector<std::string>{"vm"});
    EXPECT_EQ(FullyQualifiedName("vm", answering(std::nullopt)), "vm");
    EXPECT_EQ(FullyQualifiedName("vm", answering("")), "vm");
    EXPECT_EQ(FullyQualifiedName("vm", answering("localhost")), "vm");
    EXPECT_EQ(FullyQualifiedName("vm", answering("localhost.localdomain")), "vm");
    EXPECT_EQ(FullyQualifiedName("localhost", answering("localhost")), "localhost");
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
