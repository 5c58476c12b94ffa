#include "Shared/src/Exception/shared.exception-errortext.hpp"

#include <iostream>

#include <fmt/format.h>

namespace Shared::Exception {

std::string HintFor(std::uint32_t code) {
    switch (code) {
        case 12002:
            return "(This usually indicates your Internet connection is down or the server isn't "
                   "responding.)";
        case 12007:
            return "(DNS issues usually indicate your internet connection is not working, or "
                   "perhaps your DNS is malfunctioning. If this is occurring while your agent is "
                   "trying to connect, then it's very likely your Internet connection is down.)";
        case 12030:
            return "(This indicates the connection was dropped. Your Internet connection may be "
                   "unstable, or the server may be experiencing difficulties.)";
        case 0x80090328:
            return "(Your agent's local client certificate has probably expired. You will need a "
                   "new one to be pushed out to your agents via Overstead.)";
        default:
            return {};
    }
}

std::string StripOneTrailingCrLf(std::string text) {
    if (text.ends_with("\r\n")) {
        text.resize(text.size() - 2);
    }
    return text;
}

std::string UntranslatableText(std::uint32_t code) {
    return fmt::format("Failed to translate Win32 error code: {}", code);
}

void ReportHandleCloseFailure(std::uint32_t code) noexcept {
    try {
        std::cerr << fmt::format("{} ===> {} (Win32Exception error code: {}) {}",
                                 "Failed to close handle due to a Win32 error",
                                 TranslateSystemError(code), code, HintFor(code))
                  << std::endl;
    } catch (...) {
    }
}

}  // namespace Shared::Exception
