#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Shared/src/Exception/shared.exception-errortext.hpp"

namespace {

using namespace Shared::Exception;
using testing::EndsWith;
using testing::Not;

TEST(ErrorText, SystemTextLosesOneLineBreakModuleTextKeepsItAndUnknownCodesGiveTheNumber) {
    const auto stripped = TranslateSystemError(5);
    EXPECT_THAT(stripped, Not(EndsWith("\n")));
    EXPECT_EQ(stripped + "\r\n", TranslateModuleError(5, ErrorModule::System));
    EXPECT_TRUE(ModuleAvailable(ErrorModule::NtDll));
    EXPECT_TRUE(ModuleAvailable(ErrorModule::WinSock));
    EXPECT_EQ(TranslateSystemError(0xFFFFFFFF), "Failed to translate Win32 error code: 4294967295");
}

}  // namespace
