#include "Shared/src/Json/shared.json-configobjects.hpp"

#include <cmath>
#include <limits>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::Json {
namespace {

using nlohmann::json;

// Truncation toward zero; a value outside the target range becomes the target's minimum,
// as the x64 conversion instruction does.
template <typename Integer>
Integer Truncate(double value) {
    constexpr auto low = static_cast<double>(std::numeric_limits<Integer>::min());
    constexpr auto high = -low;  // exclusive: 2^(bits-1)
    if (!(value >= low && value < high)) {
        return std::numeric_limits<Integer>::min();
    }
    return static_cast<Integer>(value);
}

std::uint32_t ReadUint32(const json& object, const char* key) {
    return static_cast<std::uint32_t>(Truncate<std::int64_t>(object.at(key).get<double>()));
}

std::uint16_t ReadPort(const json& object, const char* key) {
    return static_cast<std::uint16_t>(Truncate<std::int32_t>(object.at(key).get<double>()));
}

std::wstring ReadString(const json& object, const char* key) {
    return Shared::Util::ConvertStringType(object.at(key).get<std::string>());
}

TcpTraceTest ReadTest(const json& object) {
    TcpTraceTest test;
    test.target = ReadString(object, "target");
    test.testUuid = ReadString(object, "testUuid");
    test.netObjUuid = ReadString(object, "netObjUuid");
    test.timeout = ReadUint32(object, "timeout");
    test.port = ReadUint32(object, "port");
    test.maxUnknown = ReadUint32(object, "maxUnknown");
    test.probesPerNode = ReadUint32(object, "probesPerNode");
    test.muRunTestsFromTrustedNetworks = object.at("muRunTestsFromTrustedNetworks").get<bool>();
    test.muRunTestsFromUntrustedNetworksWithVPNDisabled =
        object.at("muRunTestsFromUntrustedNetworksWithVPNDisabled").get<bool>();
    test.rnRunTestsOnActivePathsOnly = object.at("rnRunTestsOnActivePathsOnly").get<bool>();
    test.networkObjectDomainOrIpIndex = ReadUint32(object, "networkObjectDomainOrIpIndex");
    test.serverType = Truncate<std::int32_t>(object.at("serverType").get<double>());
    test.testName = ReadString(object, "testName");
    test.applicationName = ReadString(object, "applicationName");
    test.isSplitTunnel = object.at("isSplitTunnel").get<bool>();
    return test;
}

}  // namespace

TcpTraceParameters JSONToTcpTraceTests(const std::wstring& text) {
    const auto utf8 = Shared::Util::ConvertStringType(text);
    try {
        const auto root = json::parse(utf8);
        const auto tests = root.at("tests").get<std::vector<json>>();
        TcpTraceParameters parameters;
        parameters.tests.reserve(tests.size());
        for (const auto& test : tests) {
            parameters.tests.push_back(ReadTest(test));
        }
        parameters.isSerialised = root.at("isSerialised").get<bool>();
        parameters.exitEventName = ReadString(root, "exitEventName");
        parameters.minPort = ReadPort(root, "minPort");
        parameters.maxPort = ReadPort(root, "maxPort");
        return parameters;
    } catch (const json::exception& e) {
        throw Shared::Exception::RuntimeError(
            fmt::format("WinRT failed parsing JSON {} ---> {}", utf8, e.what()));
    }
}

std::wstring ObjectStringVectorToJSON(const std::vector<std::string>& objects) {
    try {
        auto array = nlohmann::ordered_json::array();
        for (const auto& text : objects) {
            auto object = nlohmann::ordered_json::parse(text);
            if (!object.is_object()) {
                throw nlohmann::ordered_json::type_error::create(
                    302, std::string("type must be object, but is ") + object.type_name(), &object);
            }
            array.push_back(std::move(object));
        }
        return Shared::Util::ConvertStringType(array.dump());
    } catch (const nlohmann::ordered_json::exception& e) {
        throw Shared::Exception::RuntimeError(
            fmt::format("WinRT failed parsing JSON ---> {}", e.what()));
    }
}

}  // namespace Shared::Json
