#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <vector>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Json/shared.json-configobjects.hpp"
#include "Shared/src/Util/shared.util-flagfallback.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "Shared/src/Util/shared.util-system.hpp"
#include "support/thrown.hpp"

namespace {

using Shared::Json::JSONToTcpTraceTests;
using testing::HasSubstr;

nlohmann::json ValidTest() {
    return {{"target", "target.lab"}, {"testUuid", "t-1"}, {"netObjUuid", "n-1"},
            {"timeout", 2}, {"port", 443}, {"maxUnknown", 3}, {"probesPerNode", 3},
            {"muRunTestsFromTrustedNetworks", true},
            {"muRunTestsFromUntrustedNetworksWithVPNDisabled", false},
            {"rnRunTestsOnActivePathsOnly", false}, {"networkObjectDomainOrIpIndex", 1},
            {"serverType", -2}, {"testName", "Name"}, {"applicationName", "App"},
            {"isSplitTunnel", true}};
}

nlohmann::json ValidDocument() {
    return {{"tests", {ValidTest()}}, {"isSerialised", false}, {"exitEventName", "stop"},
            {"minPort", 33000}, {"maxPort", 33010}};
}

std::wstring Text(const nlohmann::json& document) {
    return Shared::Util::ConvertStringType(document.dump());
}

std::string FailureOf(const std::wstring& text) {
    return WhatOf<std::runtime_error>([&] { JSONToTcpTraceTests(text); });
}

TEST(TestConfiguration, IgnoresUnknownKeysAndTruncatesNumbersToTheirLowBits) {
    auto document = ValidDocument();
    document["unknown"] = 1;
    document["tests"][0]["alsoUnknown"] = "x";
    const auto parameters = JSONToTcpTraceTests(Text(document));
    ASSERT_EQ(parameters.tests.size(), 1u);
    const auto& test = parameters.tests[0];
    EXPECT_EQ(test.serverType, -2);  // the lab runs read the other fields for real

    document["tests"][0]["port"] = 443.7;
    document["tests"][0]["timeout"] = -1;
    document["tests"][0]["probesPerNode"] = 3.9;
    document["minPort"] = 70000;
    document["tests"][0]["serverType"] = 1e12;
    const auto truncated = JSONToTcpTraceTests(Text(document));
    EXPECT_EQ(truncated.tests[0].port, 443u);
    EXPECT_EQ(truncated.tests[0].timeout, 4294967295u);
    EXPECT_EQ(truncated.tests[0].probesPerNode, 3u);
    EXPECT_EQ(truncated.minPort, 4464);
    EXPECT_EQ(truncated.tests[0].serverType, INT32_MIN);
}

TEST(TestConfiguration, MissingKeysAndWrongTypesFailTheWholeDocument) {
    const struct {
        std::function<void(nlohmann::json&)> damage;
        const char* failure;
    } cases[] = {
        {[](auto& d) { d["tests"].push_back(ValidTest()), d["tests"][1].erase("isSplitTunnel"); },
         "key 'isSplitTunnel' not found"},
        {[](auto& d) { d["isSerialised"] = 1; }, "type must be boolean, but is number"},
        {[](auto& d) { d["tests"][0]["port"] = "443"; }, "type must be number, but is string"},
        {[](auto& d) { d.erase("maxPort"); }, "key 'maxPort' not found"},
        {[](auto& d) { d["tests"][0] = 5; }, "WinRT failed parsing JSON "},
    };
    for (const auto& [damage, failure] : cases) {
        auto document = ValidDocument();
        damage(document);
        EXPECT_THAT(FailureOf(Text(document)), HasSubstr(failure));
    }
    const auto text = FailureOf(L"not json");
    EXPECT_THAT(text, HasSubstr("() at Shared/src/Json/shared.json-configobjects:"));
    EXPECT_THAT(text, HasSubstr(" --> WinRT failed parsing JSON not json ---> [json.exception.parse_error"));
    EXPECT_THAT(FailureOf(L"[1,2]"), HasSubstr("WinRT failed parsing JSON [1,2] ---> "));
    // An empty list is a valid document.
    EXPECT_TRUE(JSONToTcpTraceTests(
        LR"({"tests":[],"isSerialised":false,"exitEventName":"","minPort":0,"maxPort":0})")
                    .tests.empty());
}

TEST(ResultJoin, CompactArrayInOrderKeepingFieldOrder) {
    using Shared::Json::ObjectStringVectorToJSON;
    EXPECT_EQ(ObjectStringVectorToJSON({}), L"[]");
    EXPECT_EQ(ObjectStringVectorToJSON({"{\n  \"b\": 1,\n  \"a\": 33.333335876464844\n}", "{\"c\":\"x\"}"}),
              LR"([{"b":1,"a":33.333335876464844},{"c":"x"}])");
    EXPECT_THAT(WhatOf<std::runtime_error>([] { ObjectStringVectorToJSON({"[1]"}); }),
                HasSubstr("WinRT failed parsing JSON ---> "));
}

using Shared::Util::ConvertStringType;

TEST(Strings, ConvertsBothWaysAndComparesIgnoringCaseAtExactLength) {
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
