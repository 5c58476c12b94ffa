#include <string_view>

#include "Shared/src/System/shared.system-regfile.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto registry = Shared::System::RegistryExport::Parse(
        std::string_view(reinterpret_cast<const char*>(data), size));
    registry.Find(L"SOFTWARE\\Velmora\\Orvia", L"HostResolutionWorkerCount");
    registry.HasKey(L"SOFTWARE\\Velmora\\Quillon Agent");
    return 0;
}
