#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Shared/src/Exception/shared.exception-errortext.hpp"

namespace {

using namespace Shared::Exception;
using testing::EndsWith;
using testing::Not;

TEST(ErrorText, SystemTextLosesOneLineBreakModuleTextKeepsIt) {
    const auto stripped = TranslateSystemError(5);
    const auto kept = TranslateModuleError(5, ErrorModule::System);
    EXPECT_THAT(kept, EndsWith("\r\n"));
    EXPECT_EQ(stripped + "\r\n", kept);
    EXPECT_THAT(stripped, Not(EndsWith("\n")));
    EXPECT_TRUE(ModuleAvailable(ErrorModule::NtDll));
    EXPECT_TRUE(ModuleAvailable(ErrorModule::WinSock));
}

TEST(ErrorText, CodesWithoutTextGiveTheUnsignedCode) {
    EXPECT_EQ(TranslateSystemError(0xFFFFFFFF), "Failed to translate Win32 error code: 4294967295");
    // winhttp.dll is never loaded by this program, so its codes fall back to the system table.
    EXPECT_EQ(TranslateSystemError(12007), "Failed to translate Win32 error code: 12007");
}

}  // namespace
