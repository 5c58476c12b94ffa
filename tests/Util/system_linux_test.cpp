#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Exception/shared.exception-errortext.hpp"
#include "Shared/src/Log/shared.log-directory.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
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

TEST(OpenFileLimit, TheSoftLimitRisesToTheHardLimit) {
    rlimit original{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &original), 0);
    if (original.rlim_max <= 64) {
        GTEST_SKIP() << "hard limit too low to lower the soft one";
    }
    rlimit lowered = original;
    lowered.rlim_cur = 64;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lowered), 0);
    Shared::Util::RaiseOpenFileLimit();
    rlimit raised{};
    ::getrlimit(RLIMIT_NOFILE, &raised);
    ::setrlimit(RLIMIT_NOFILE, &original);
    EXPECT_EQ(raised.rlim_cur, original.rlim_max);
}

using Shared::Util::ConvertStringType;

// Linux decodes strictly; Windows' converters (flags 0) substitute U+FFFD instead.
TEST(Strings, InvalidTextIsRejected) {
    EXPECT_THROW(ConvertStringType(std::string_view("\xC3")), Shared::Exception::Win32Exception);
    EXPECT_THROW(ConvertStringType(std::string_view("\xC0\xAF")),  // overlong '/'
                 Shared::Exception::Win32Exception);
    EXPECT_THROW(ConvertStringType(std::wstring(1, static_cast<wchar_t>(0xD800))),
                 Shared::Exception::Win32Exception);
    EXPECT_EQ(Shared::Util::ConvertErrorString(std::wstring(1, static_cast<wchar_t>(0xD800))),
              "Failed converting error string [1]: 84");
}

TEST(ErrorText, ComesFromTheCLibraryAndResolver) {
    using namespace Shared::Exception;
    EXPECT_EQ(TranslateSystemError(2), "No such file or directory");
    EXPECT_EQ(TranslateModuleError(0xC000000D, ErrorModule::NtDll), "The parameter is incorrect.");
}

// An installed program writes outside /usr; one in a build tree (this test) beside itself.
TEST(LogDirectory, InstalledOutsideUsrElseBesideTheProgram) {
    using Log::ChooseLogDirectory;
    EXPECT_EQ(ChooseLogDirectory({.executableDirectory = "/usr/bin", .isRoot = true,
                                  .xdgStateHome = "/s", .home = "/root"}),
              "/var/log/hopr");
    EXPECT_EQ(ChooseLogDirectory({.executableDirectory = "/usr/local/bin",
                                  .xdgStateHome = "/srv/state", .home = "/home/ann"}),
              "/srv/state/hopr");
    for (const auto* relativeOrNone : {"", "state"}) {  // a relative XDG_STATE_HOME is ignored
        EXPECT_EQ(ChooseLogDirectory({.executableDirectory = "/usr/bin",
                                      .xdgStateHome = relativeOrNone, .home = "/home/ann"}),
                  "/home/ann/.local/state/hopr");
    }
    EXPECT_THROW(ChooseLogDirectory({.executableDirectory = "/usr/bin", .home = ""}),
                 Shared::Exception::RuntimeError);
    for (const auto* directory : {"/home/ann/hopr/build", "/usrlocal/bin", "/opt/usr/bin"}) {
        EXPECT_EQ(ChooseLogDirectory({.executableDirectory = directory, .isRoot = true,
                                      .xdgStateHome = "/s", .home = "/root"}),
                  directory);
    }
    const auto self = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    ASSERT_FALSE(self.string().starts_with("/usr/"));
    EXPECT_EQ(Log::LogDirectory(), self.string());
}

}  // namespace
