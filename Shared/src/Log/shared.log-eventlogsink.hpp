#pragma once
// The platform's system event log, under the source "Velmora Orvia".

#include <spdlog/common.h>

namespace Log {

inline constexpr const char* kEventSource = "Velmora Orvia";

spdlog::sink_ptr MakeEventLogSink();

}  // namespace Log
