#include "Shared/src/System/shared.system-registry.hpp"
#include "Shared/src/System/shared.system-registry_linux.hpp"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "Shared/src/System/shared.system-regfile.hpp"

namespace Shared::System {
namespace {

// Read at every lookup, as the live registry would be: the agent may change a value mid-run.
RegistryExport LoadExport() {
    std::ifstream file(RegistryFilePath(), std::ios::binary);
    if (!file) {
        return {};
    }
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return RegistryExport::Parse(bytes.str());
}

}  // namespace

std::string RegistryFilePath() {
    const char* path = std::getenv("HOPR_REGISTRY_FILE");
    return path && *path ? path : "/etc/hopr/registry.reg";
}

std::optional<std::uint32_t> ReadRegistryDword(std::wstring_view key, std::wstring_view name) {
    const auto registry = LoadExport();
    const auto* value = registry.Find(key, name);
    if (value == nullptr || value->type != RegistryValue::Type::Dword) {
        return std::nullopt;
    }
    return value->dword;
}

std::optional<std::wstring> ReadRegistryString(std::wstring_view key, std::wstring_view name) {
    const auto registry = LoadExport();
    const auto* value = registry.Find(key, name);
    if (value == nullptr || value->type != RegistryValue::Type::String) {
        return std::nullopt;
    }
    return value->text;
}

bool RegistryKeyExists(std::wstring_view key) {
    return LoadExport().HasKey(key);
}

}  // namespace Shared::System
