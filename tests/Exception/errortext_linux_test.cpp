#include <gtest/gtest.h>

#include "Shared/src/Exception/shared.exception-errortext.hpp"

namespace {

using namespace Shared::Exception;

TEST(ErrorText, ComesFromTheCLibraryAndResolver) {
    EXPECT_EQ(TranslateSystemError(2), "No such file or directory");
    EXPECT_EQ(TranslateModuleError(0xC000000D, ErrorModule::NtDll), "The parameter is incorrect.");
}

}  // namespace
