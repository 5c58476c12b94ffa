#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Log/shared.log-directory.hpp"

namespace {

using Log::ChooseLogDirectory;

TEST(LogDirectory, InstalledProgramWritesOutsideUsr) {
    EXPECT_EQ(ChooseLogDirectory({.executableDirectory = "/usr/bin", .isRoot = true,
                                  .xdgStateHome = "/s", .home = "/root"}),
              "/var/log/hopr");
    EXPECT_EQ(ChooseLogDirectory({.executableDirectory = "/usr/local/bin",
                                  .xdgStateHome = "/srv/state", .home = "/home/ann"}),
              "/srv/state/hopr");
    EXPECT_EQ(ChooseLogDirectory({.executableDirectory = "/usr/bin", .home = "/home/ann"}),
              "/home/ann/.local/state/hopr");
    // A relative XDG_STATE_HOME is invalid and ignored.
    EXPECT_EQ(ChooseLogDirectory({.executableDirectory = "/usr/bin", .xdgStateHome = "state",
                                  .home = "/home/ann"}),
              "/home/ann/.local/state/hopr");
    EXPECT_THROW(ChooseLogDirectory({.executableDirectory = "/usr/bin", .home = ""}),
                 Shared::Exception::RuntimeError);
}

TEST(LogDirectory, BuildTreeProgramWritesBesideItself) {
    for (const auto* directory : {"/home/ann/hopr/build", "/usrlocal/bin", "/opt/usr/bin"}) {
        EXPECT_EQ(ChooseLogDirectory({.executableDirectory = directory, .isRoot = true,
                                      .xdgStateHome = "/s", .home = "/root"}),
                  directory);
    }
}

TEST(LogDirectory, RunningTestBinaryIsABuildTree) {
    const auto self = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    ASSERT_FALSE(self.string().starts_with("/usr/"));
    EXPECT_EQ(Log::LogDirectory(), self.string());
}

}  // namespace
