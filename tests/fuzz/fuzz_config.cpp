#include <string_view>

#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include "Shared/src/Json/shared.json-configobjects.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    spdlog::set_default_logger(spdlog::null_logger_mt("fuzz"));
    return 0;
}

// Any line the agent could send: a complete configuration or an exception, never a crash.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const auto wide = Shared::Util::ConvertStringType(
            std::string_view(reinterpret_cast<const char*>(data), size));
        Shared::Json::JSONToTcpTraceTests(wide);
    } catch (const std::exception&) {
    }
    return 0;
}
