#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace {

using Shared::Util::ConvertStringType;

TEST(Strings, ConvertsBothWaysAndRejectsInvalidText) {
    EXPECT_EQ(ConvertStringType(std::wstring_view()), "");
    EXPECT_EQ(ConvertStringType(std::string_view()), L"");
    const std::string utf8 = "r\xC3\xA9seau \xE2\x82\xAC \xF0\x9F\x9A\x80";
    EXPECT_EQ(ConvertStringType(ConvertStringType(utf8)), utf8);
    EXPECT_EQ(ConvertStringType(utf8).size(), 10u);
    EXPECT_THROW(ConvertStringType(std::string_view("\xC3")), Shared::Exception::Win32Exception);
    EXPECT_THROW(ConvertStringType(std::string_view("\xC0\xAF")),  // overlong '/'
                 Shared::Exception::Win32Exception);
    EXPECT_THROW(ConvertStringType(std::wstring(1, static_cast<wchar_t>(0xD800))),
                 Shared::Exception::Win32Exception);
    EXPECT_EQ(Shared::Util::ConvertErrorString(std::wstring(1, static_cast<wchar_t>(0xD800))),
              "Failed converting error string [1]: 84");
}

TEST(Strings, CaseInsensitiveEqualityIsLengthExact) {
    EXPECT_TRUE(Shared::Util::EqualsIgnoreCase(L"CoNsOlE", L"console"));
    EXPECT_FALSE(Shared::Util::EqualsIgnoreCase(L"console ", L"console"));
}

TEST(Strings, ReadStdLineReturnsLinesThenThrowsAtEnd) {
    std::istringstream input("first\nlast without newline");
    auto* saved = std::cin.rdbuf(input.rdbuf());
    EXPECT_EQ(Shared::Util::ReadStdLine(), "first");
    EXPECT_EQ(Shared::Util::ReadStdLine(), "last without newline");
    try {
        Shared::Util::ReadStdLine();
        ADD_FAILURE() << "expected a throw at the end of input";
    } catch (const std::runtime_error& e) {
        EXPECT_THAT(e.what(), testing::HasSubstr("Failed reading line from std::cin"));
    }
    std::cin.rdbuf(saved);
}

}  // namespace
