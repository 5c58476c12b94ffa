#pragma once
// The agent's test configuration (one JSON line on standard input) and the join of result
// texts into the JSON array written back.

#include <cstdint>
#include <string>
#include <vector>

namespace Shared::Json {

struct TcpTraceTest {
    std::wstring target;
    std::wstring testUuid;
    std::wstring netObjUuid;
    std::uint32_t timeout = 0;  // seconds
    std::uint32_t port = 0;
    std::uint32_t maxUnknown = 0;
    std::uint32_t probesPerNode = 0;
    bool muRunTestsFromTrustedNetworks = false;
    bool muRunTestsFromUntrustedNetworksWithVPNDisabled = false;
    bool rnRunTestsOnActivePathsOnly = false;
    std::uint32_t networkObjectDomainOrIpIndex = 0;
    std::int32_t serverType = 0;
    std::wstring testName;
    std::wstring applicationName;
    std::wstring resolvedIp;  // not in the input; set by target resolution
    bool isSplitTunnel = false;
};

struct TcpTraceParameters {
    bool isSerialised = false;
    std::wstring exitEventName;
    std::uint16_t minPort = 0;
    std::uint16_t maxPort = 0;
    std::vector<TcpTraceTest> tests;
};

// Every key is required with its JSON type; unknown keys are ignored. Numbers are truncated
// toward zero and keep their low 32 (ports: 16) bits. A JSON failure throws the base exception
// "WinRT failed parsing JSON {input} ---> {reason}".
TcpTraceParameters JSONToTcpTraceTests(const std::wstring& text);

// Joins JSON object texts into one compact array text, in order; "[]" for none.
std::wstring ObjectStringVectorToJSON(const std::vector<std::string>& objects);

}  // namespace Shared::Json
