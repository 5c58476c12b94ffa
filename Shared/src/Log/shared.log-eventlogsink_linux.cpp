#include "Shared/src/Log/shared.log-eventlogsink.hpp"

#include <syslog.h>

#include <spdlog/sinks/syslog_sink.h>

namespace Log {

spdlog::sink_ptr MakeEventLogSink() {
    return std::make_shared<spdlog::sinks::syslog_sink_mt>(kEventSource, LOG_PID, LOG_USER, false);
}

}  // namespace Log
