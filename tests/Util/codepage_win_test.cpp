#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

namespace {

// The manifest's code page: the C runtime's narrow file functions (spdlog's log file, the
// stack-trace lookup's executable) and argv then carry UTF-8, as the rest of the program does.
TEST(CodePage, NarrowFileNamesAreUtf8) {
    EXPECT_EQ(::GetACP(), 65001u);
    const auto wide = std::filesystem::temp_directory_path() / L"hopr-t\u00EBst-\u65E5\u672C.log";
    std::FILE* created = ::_wfopen(wide.c_str(), L"wb");
    ASSERT_NE(created, nullptr);
    std::fclose(created);
    const auto narrow = Shared::Util::ConvertStringType(wide.wstring());
    std::FILE* opened = std::fopen(narrow.c_str(), "rb");
    EXPECT_NE(opened, nullptr) << narrow;
    if (opened != nullptr) {
        std::fclose(opened);
    }
    std::filesystem::remove(wide);
}

}  // namespace
