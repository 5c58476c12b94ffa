// GCC 12's libbacktrace reads the executable's DWARF at the addresses the image was linked for
// and knows no other module. Windows loads the image wherever ASLR puts it (and then writes that
// base into the loaded headers), so the base it was linked for comes from the file, and an
// address inside the image moves back by the difference. DLL code has no debug information here.

#include "Shared/src/Exception/shared.exception-executableimage.hpp"

#include <filesystem>
#include <fstream>

#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

namespace Shared::Exception::detail {
namespace {

struct ImageLayout {
    std::uintptr_t loadedAt = 0;
    std::uintptr_t size = 0;
    std::uintptr_t linkedFor = 0;
};

template <typename Header>
bool ReadAt(std::ifstream& file, std::streamoff offset, Header& header) {
    return static_cast<bool>(file.seekg(offset).read(reinterpret_cast<char*>(&header), sizeof header));
}

std::optional<std::uintptr_t> LinkedImageBase(const std::filesystem::path& executable) {
    std::ifstream file(executable, std::ios::binary);
    IMAGE_DOS_HEADER dos{};
    IMAGE_NT_HEADERS64 nt{};
    if (!ReadAt(file, 0, dos) || dos.e_magic != IMAGE_DOS_SIGNATURE ||
        !ReadAt(file, dos.e_lfanew, nt) || nt.Signature != IMAGE_NT_SIGNATURE ||
        nt.OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC) {
        return std::nullopt;
    }
    return static_cast<std::uintptr_t>(nt.OptionalHeader.ImageBase);
}

ImageLayout ReadLayout() {
    const auto* base = reinterpret_cast<const unsigned char*>(::GetModuleHandleW(nullptr));
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    ImageLayout layout;
    layout.loadedAt = reinterpret_cast<std::uintptr_t>(base);
    layout.size = nt->OptionalHeader.SizeOfImage;
    try {
        layout.linkedFor = LinkedImageBase(Shared::Util::GetCurrentExecutablePath()).value_or(0);
    } catch (...) {
    }
    return layout;
}

const ImageLayout& Layout() {
    static const ImageLayout layout = ReadLayout();
    return layout;
}

}  // namespace

// The C runtime opens it in the ANSI code page, which the manifest makes UTF-8.
std::string ExecutablePathForLookup() noexcept {
    try {
        return Shared::Util::ConvertStringType(Shared::Util::GetCurrentExecutablePath());
    } catch (...) {
        return {};
    }
}

std::optional<std::uintptr_t> LinkTimeAddress(std::uintptr_t address) noexcept {
    const auto& image = Layout();
    if (image.linkedFor == 0 || address < image.loadedAt || address - image.loadedAt >= image.size) {
        return std::nullopt;
    }
    return address - image.loadedAt + image.linkedFor;
}

}  // namespace Shared::Exception::detail
