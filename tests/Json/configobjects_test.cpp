#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <vector>

#include "Shared/src/Json/shared.json-configobjects.hpp"
#include "Shared/src/Util/shared.util-flagfallback.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"
#include "support/thrown.hpp"

namespace {

using Shared::Json::JSONToTcpTraceTests;
using Shared::Util::ConvertStringType;
using testing::AllOf;
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

std::string FailureOf(const std::string& text) {
    return WhatOf<std::runtime_error>([&] { JSONToTcpTraceTests(ConvertStringType(text)); });
}

TEST(TestConfiguration, IgnoresUnknownKeysTruncatesNumbersAndFailsWholeOnAMissingKeyOrType) {
    auto document = ValidDocument();
    document["unknown"] = 1;
    auto& test = document["tests"][0];
    test["alsoUnknown"] = "x";
    test["port"] = 443.7;
    test["timeout"] = -1;
    test["serverType"] = 1e12;
    document["minPort"] = 70000;
    const auto truncated = JSONToTcpTraceTests(ConvertStringType(document.dump()));
    ASSERT_EQ(truncated.tests.size(), 1u);  // the lab runs read the other fields for real
    EXPECT_EQ(truncated.tests[0].port, 443u);
    EXPECT_EQ(truncated.tests[0].timeout, 4294967295u);
    EXPECT_EQ(truncated.minPort, 4464);
    EXPECT_EQ(truncated.tests[0].serverType, INT32_MIN);

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
        auto damaged = ValidDocument();
        damage(damaged);
        EXPECT_THAT(FailureOf(damaged.dump()), HasSubstr(failure));
    }
    EXPECT_THAT(FailureOf("not json"),
                AllOf(HasSubstr("() at Shared/src/Json/shared.json-configobjects:"),
                      HasSubstr(" --> WinRT failed parsing JSON not json ---> [json.exception.")));
    EXPECT_THAT(FailureOf("[1,2]"), HasSubstr("WinRT failed parsing JSON [1,2] ---> "));
    document["tests"] = nlohmann::json::array();  // an empty list is a valid document
    EXPECT_TRUE(JSONToTcpTraceTests(ConvertStringType(document.dump())).tests.empty());
}

TEST(ResultJoin, CompactArrayInOrderKeepingFieldOrder) {
    using Shared::Json::ObjectStringVectorToJSON;
    EXPECT_EQ(ObjectStringVectorToJSON({}), L"[]");
    EXPECT_EQ(ObjectStringVectorToJSON({R"({ "b": 1, "a": 33.333335876464844 })", R"({"c":"x"})"}),
              LR"([{"b":1,"a":33.333335876464844},{"c":"x"}])");
    EXPECT_THAT(WhatOf<std::runtime_error>([] { ObjectStringVectorToJSON({"[1]"}); }),
                HasSubstr("WinRT failed parsing JSON ---> "));
}

// Windows refuses the best-fit flag for UTF-8 with "invalid flags": the conversion runs again
// without it, and only then.
TEST(Strings, ConvertBothWaysCompareIgnoringCaseAtExactLengthAndDropOnlyRefusedFlags) {
    const std::string utf8 = "r\xC3\xA9seau \xE2\x82\xAC \xF0\x9F\x9A\x80";
    EXPECT_EQ(ConvertStringType(ConvertStringType(utf8)), utf8);
    // The rocket is a surrogate pair in UTF-16.
    EXPECT_EQ(ConvertStringType(utf8).size(), sizeof(wchar_t) == 2 ? 11u : 10u);
    EXPECT_TRUE(Shared::Util::EqualsIgnoreCase(L"CoNsOlE", L"console"));
    EXPECT_FALSE(Shared::Util::EqualsIgnoreCase(L"console", L"console "));

    std::vector<std::uint32_t> tried;
    const auto refusing = [&](std::uint32_t flags) {
        tried.push_back(flags);
        return flags == 0 ? 7 : 0;
    };
    EXPECT_EQ(Shared::Util::ConvertWithFlagFallback(refusing, [] { return 1004u; }), 7);
    EXPECT_EQ(Shared::Util::ConvertWithFlagFallback(refusing, [] { return 1113u; }), 0);
    EXPECT_EQ(tried, (std::vector<std::uint32_t>{0x400, 0, 0x400}));
}

}  // namespace
