// Which capabilities a run keeps once its listeners are bound; the lab sees the plain drops.

#include <gtest/gtest.h>

#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "Shared/src/System/shared.system-privileges.hpp"
#include "Shared/src/System/shared.system-privileges_linux.hpp"

namespace {

using Shared::System::detail::Identity;
using Shared::System::detail::KernelBindsToDeviceUnprivileged;
using Shared::System::detail::ModeGrants;

TEST(Privileges, DeviceBindingFromLinux57AndModeBitsOfTheFirstMatchingClass) {
    const std::pair<const char*, bool> releases[] = {
        {"5.7.0", true},   {"5.10.0-26-amd64", true},        {"6.1.0", true},
        {"5.6.19", false}, {"4.18.0-513.el8.x86_64", false}, {"six", false}};
    for (const auto& [release, unprivileged] : releases) {
        EXPECT_EQ(KernelBindsToDeviceUnprivileged(release), unprivileged) << release;
    }
    const Identity root{0, {0}};
    const Identity agent{1000, {1000, 44}};
    // Root as the owner of /run/hopr (0755) may make files there; as a stranger it may not.
    EXPECT_TRUE(ModeGrants({0, 0, S_IFDIR | 0755}, root, W_OK | X_OK));
    EXPECT_FALSE(ModeGrants({1000, 1000, S_IFDIR | 0755}, root, W_OK | X_OK));
    EXPECT_TRUE(ModeGrants({1000, 1000, S_IFDIR | 0755}, root, X_OK));
    // An agent's FIFO (0600) refuses root without the override.
    EXPECT_FALSE(ModeGrants({1000, 1000, S_IFIFO | 0600}, root, R_OK | W_OK));
    // The owner's bits are the owner's only answer, even when the others' allow more.
    EXPECT_FALSE(ModeGrants({1000, 1000, S_IFDIR | 0577}, agent, W_OK));
    EXPECT_TRUE(ModeGrants({0, 44, S_IFDIR | 0770}, agent, W_OK | X_OK));
    EXPECT_FALSE(ModeGrants({0, 45, S_IFDIR | 0770}, agent, X_OK));
}

// Runs `body` in a child process, which has one thread, as the program has when it drops.
bool InChild(const std::function<bool()>& body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// A capability set of this process as the kernel shows it ("CapEff", "CapPrm", ...).
std::uint64_t CapabilitySet(const std::string& field) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(field + ":")) {
            return std::stoull(line.substr(field.size() + 1), nullptr, 16);
        }
    }
    return ~std::uint64_t{0};
}

bool HoldsOnly(std::uint64_t kept) {
    return CapabilitySet("CapEff") == kept && CapabilitySet("CapPrm") == kept &&
           CapabilitySet("CapInh") == 0 && CapabilitySet("CapAmb") == 0;
}

TEST(Privileges, RootKeepsTheOverrideOnlyWhereModeBitsRefuseIt) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to hold CAP_DAC_OVERRIDE";
    }
    constexpr auto kOverride = std::uint64_t{1} << CAP_DAC_OVERRIDE;
    char pattern[] = "/tmp/hopr-privileges-XXXXXX";
    const std::string directory = ::mkdtemp(pattern);
    const auto settings = directory + "/registry.reg";
    EXPECT_TRUE(InChild([&] {
        ::setenv("HOPR_REGISTRY_FILE", settings.c_str(), 1);  // missing: the defaults
        Shared::System::DropPrivileges({.logDirectory = directory + "/not-yet/made"});
        return HoldsOnly(0);
    }));
    std::ofstream(settings) << "Windows Registry Editor Version 5.00\n";
    ASSERT_EQ(::chmod(settings.c_str(), 0600), 0);
    ASSERT_EQ(::chown(settings.c_str(), 65534, 65534), 0);
    EXPECT_TRUE(InChild([&] {
        ::setenv("HOPR_REGISTRY_FILE", settings.c_str(), 1);  // a stranger's, only its owner reads
        Shared::System::DropPrivileges({});
        return HoldsOnly(kOverride);
    }));
    ::unlink(settings.c_str());
    ASSERT_EQ(::chown(directory.c_str(), 65534, 65534), 0);
    EXPECT_TRUE(InChild([&] {
        Shared::System::DropPrivileges({.logDirectory = directory});
        return HoldsOnly(kOverride);
    }));
    ::rmdir(directory.c_str());
}

}  // namespace
