#include "Shared/src/Log/shared.log-eventlogsink.hpp"

#include "Shared/src/Util/shared.util-windows.hpp"

#include <spdlog/sinks/win_eventlog_sink.h>

namespace Log {

// The sink looks up the process user's SID itself, once, when it is made.
spdlog::sink_ptr MakeEventLogSink() {
    return std::make_shared<spdlog::sinks::win_eventlog_sink_mt>(kEventSource, 0);
}

}  // namespace Log
