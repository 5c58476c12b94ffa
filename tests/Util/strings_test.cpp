#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-flagfallback.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace {

using Shared::Util::ConvertStringType;

TEST(Strings, ConvertsBothWaysAndComparesIgnoringCaseAtExactLength) {
    EXPECT_EQ(ConvertStringType(std::wstring_view()), "");
    EXPECT_EQ(ConvertStringType(std::string_view()), L"");
    const std::string utf8 = "r\xC3\xA9seau \xE2\x82\xAC \xF0\x9F\x9A\x80";
    EXPECT_EQ(ConvertStringType(ConvertStringType(utf8)), utf8);
    // The rocket is a surrogate pair in UTF-16.
    EXPECT_EQ(ConvertStringType(utf8).size(), sizeof(wchar_t) == 2 ? 11u : 10u);
    EXPECT_TRUE(Shared::Util::EqualsIgnoreCase(L"CoNsOlE", L"console"));
    EXPECT_FALSE(Shared::Util::EqualsIgnoreCase(L"console ", L"console"));
}

TEST(Strings, UnsupportedFlagsAreDroppedOnlyWhenTheSystemCallsThemInvalid) {
    using Shared::Util::ConvertWithFlagFallback;
    std::vector<std::uint32_t> tried;
    auto refusing = [&](std::uint32_t flags) {
        tried.push_back(flags);
        return flags == 0 ? 7 : 0;
    };
    EXPECT_EQ(ConvertWithFlagFallback(refusing, [] { return 1004u; }), 7);
    EXPECT_EQ(tried, (std::vector<std::uint32_t>{0x400, 0}));

    tried.clear();
    EXPECT_EQ(ConvertWithFlagFallback(refusing, [] { return 1113u; }), 0);  // no mapping
    EXPECT_EQ(tried, (std::vector<std::uint32_t>{0x400}));
}

}  // namespace
