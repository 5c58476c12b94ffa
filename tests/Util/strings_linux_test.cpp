#include <gtest/gtest.h>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace {

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

}  // namespace
