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

using namespace Shared::Util;

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
    // The NIS domain ("(none)" when unset) is no DNS domain.
    for (const auto format :
         {ComputerNameFormat::DnsHostname, ComputerNameFormat::DnsFullyQualified}) {
        EXPECT_EQ(GetHostname(format).find(L"(none)"), std::wstring::npos);
    }
}

TEST(OpenFileLimit, TheSoftLimitRisesToTheHardLimit) {
    rlimit original{}, raised{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &original), 0);
    const rlimit lowered{std::min<rlim_t>(64, original.rlim_max), original.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lowered), 0);
    RaiseOpenFileLimit();
    ::getrlimit(RLIMIT_NOFILE, &raised);
    ::setrlimit(RLIMIT_NOFILE, &original);
    EXPECT_EQ(raised.rlim_cur, original.rlim_max);
}

// Linux decodes strictly; Windows' converters (flags 0) substitute U+FFFD instead.
TEST(LinuxText, InvalidUtf8IsRejectedAndErrorTextsComeFromTheCLibraryAndResolver) {
    using namespace Shared::Exception;
    // Cut short of a whole 'é'; an overlong '/'.
    for (const auto invalid : {std::string_view("\xC3\xA9", 1), std::string_view("\xC0\xAF")}) {
        EXPECT_THROW(ConvertStringType(invalid), Win32Exception);
    }
    EXPECT_EQ(ConvertErrorString(std::wstring(1, static_cast<wchar_t>(0xD800))),
              "Failed converting error string [1]: 84");
    EXPECT_EQ(TranslateSystemError(2), "No such file or directory");
    EXPECT_EQ(TranslateModuleError(0xC000000D, ErrorModule::NtDll), "The parameter is incorrect.");
}

// An installed program writes outside /usr; one in a build tree (this test) beside itself.
TEST(LogDirectory, InstalledOutsideUsrElseBesideTheProgram) {
    const struct {
        Log::LogDirectoryContext context;  // program's directory, root, XDG_STATE_HOME, HOME
        const char* expected;
    } cases[] = {
        {{"/usr/bin", true, "/s", "/root"}, "/var/log/hopr"},
        {{"/usr/local/bin", false, "/srv/state", "/home/ann"}, "/srv/state/hopr"},
        {{"/usr/bin", false, "", "/home/ann"}, "/home/ann/.local/state/hopr"},
        {{"/usr/bin", false, "state", "/home/ann"}, "/home/ann/.local/state/hopr"},  // relative
        {{"/home/ann/hopr/build", true, "/s", "/root"}, "/home/ann/hopr/build"},
        {{"/usrlocal/bin", true, "/s", "/root"}, "/usrlocal/bin"},
        {{"/opt/usr/bin", true, "/s", "/root"}, "/opt/usr/bin"},
    };
    for (const auto& [context, expected] : cases) {
        EXPECT_EQ(Log::ChooseLogDirectory(context), expected) << context.executableDirectory;
    }
    EXPECT_THROW(Log::ChooseLogDirectory({.executableDirectory = "/usr/bin", .home = ""}),
                 Shared::Exception::RuntimeError);
    const auto self = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    ASSERT_FALSE(self.string().starts_with("/usr/"));
    EXPECT_EQ(Log::LogDirectory(), self.string());
}

}  // namespace
