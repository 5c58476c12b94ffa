// Which capabilities a run keeps: the decisions; the lab runs root and sees what is kept.

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

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
    // Root as the owner of /run/hopr (0755) may make files there; as a stranger only pass.
    EXPECT_TRUE(ModeGrants({0, 0, S_IFDIR | 0755}, root, W_OK | X_OK));
    EXPECT_TRUE(ModeGrants({1000, 1000, S_IFDIR | 0755}, root, X_OK));
    // The owner's bits are the owner's only answer, even when the others' allow more.
    EXPECT_FALSE(ModeGrants({1000, 1000, S_IFDIR | 0577}, agent, W_OK));
    EXPECT_TRUE(ModeGrants({0, 44, S_IFDIR | 0770}, agent, W_OK | X_OK));
    EXPECT_FALSE(ModeGrants({0, 45, S_IFDIR | 0770}, agent, X_OK));
}

}  // namespace
