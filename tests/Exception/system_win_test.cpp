#include <gtest/gtest.h>

#include <cstdio>

#include "Shared/src/Exception/shared.exception-errortext.hpp"
#include "Shared/src/Exception/shared.exception-executableimage.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

namespace {

using Shared::Exception::detail::LinkTimeAddress;

[[gnu::noinline]] void CodeInThisImage() {}

std::uintptr_t LinkedImageBaseInFile() {
    // Read by hand here, not through the code under test: the loader overwrites the loaded
    // headers' copy when it moves the image.
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    FILE* file = ::_wfopen(path, L"rb");
    IMAGE_DOS_HEADER dos{};
    IMAGE_NT_HEADERS64 nt{};
    std::fread(&dos, sizeof dos, 1, file);
    std::fseek(file, dos.e_lfanew, SEEK_SET);
    std::fread(&nt, sizeof nt, 1, file);
    std::fclose(file);
    return static_cast<std::uintptr_t>(nt.OptionalHeader.ImageBase);
}

// libbacktrace reads the DWARF at the addresses the image was linked for; ASLR loads it elsewhere.
TEST(ExecutableImage, AddressesInTheImageMoveByItsLoadOffsetAndOthersHaveNoDebugInformation) {
    const auto loaded = reinterpret_cast<std::uintptr_t>(::GetModuleHandleW(nullptr));
    const auto linked = LinkedImageBaseInFile();
    const auto code = reinterpret_cast<std::uintptr_t>(&CodeInThisImage);
    EXPECT_EQ(LinkTimeAddress(code), code - loaded + linked);
    EXPECT_EQ(LinkTimeAddress(loaded), linked);

    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(
        loaded + reinterpret_cast<const IMAGE_DOS_HEADER*>(loaded)->e_lfanew);
    const auto end = loaded + nt->OptionalHeader.SizeOfImage;
    EXPECT_EQ(LinkTimeAddress(end - 1), end - 1 - loaded + linked);
    EXPECT_EQ(LinkTimeAddress(end), std::nullopt);
    EXPECT_EQ(LinkTimeAddress(loaded - 1), std::nullopt);
    const auto system = reinterpret_cast<std::uintptr_t>(
        ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "GetTickCount"));
    EXPECT_EQ(LinkTimeAddress(system), std::nullopt);
}

TEST(ErrorText, SystemTextLosesOneLineBreakModuleTextKeepsIt) {
    using namespace Shared::Exception;
    EXPECT_EQ(TranslateSystemError(5) + "\r\n", TranslateModuleError(5, ErrorModule::System));
}

}  // namespace
