#include <algorithm>

#include <fmt/format.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Log/shared.log-guardedlog.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace HOPR {
namespace {

constexpr std::wstring_view kOnLinkGateway = L"0.0.0.0";

std::string JoinList(const std::vector<std::wstring>& items) {
    std::string joined;
    for (const auto& item : items) {
        joined += joined.empty() ? Shared::Util::ConvertErrorString(item)
                                 : fmt::format(", {}", Shared::Util::ConvertErrorString(item));
    }
    return joined;
}

bool HasOnLinkGateway(const Shared::System::InterfaceDefaultGateway& adapter) {
    return std::find(adapter.gateways.begin(), adapter.gateways.end(), kOnLinkGateway) !=
           adapter.gateways.end();
}

}  // namespace

void LogLocalInterfaces(const std::vector<Shared::System::InterfaceDefaultGateway>& adapters) {
    for (std::size_t i = 0; i < adapters.size(); ++i) {
        Log::GuardedLog::Info("Found the following IPs for interface {}: {}", i,
                              JoinList(adapters[i].addresses));
        Log::GuardedLog::Info("Found the following gateways for interface {}: {}", i,
                              JoinList(adapters[i].gateways));
    }
}

void GetInterfaceAddresses(const std::vector<Shared::System::InterfaceDefaultGateway>& adapters,
                           std::wstring& physicalAddress, std::wstring& virtualAddress) {
    const auto physical = std::find_if(adapters.begin(), adapters.end(),
                                       [](const auto& a) { return !HasOnLinkGateway(a); });
    if (physical == adapters.end()) {
        throw Shared::Exception::RuntimeError("hopr failed to find a usable physical interface.");
    }
    physicalAddress = physical->addresses.front();
    const auto tunnel = std::find_if(adapters.begin(), adapters.end(), HasOnLinkGateway);
    if (tunnel == adapters.end()) {
        Log::GuardedLog::Info(
            "No active interface with route 0.0.0.0 found -- will default to the physical "
            "interface.");
        virtualAddress = physicalAddress;
    } else {
        virtualAddress = tunnel->addresses.front();
    }
}

}  // namespace HOPR
