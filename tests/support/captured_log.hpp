#pragma once
// For its life, a default logger that writes "level message" lines into a string.

#include <sstream>

#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

class CapturedLog {
public:
    CapturedLog() : previous_(spdlog::default_logger()) {
        auto sink = std::make_shared<spdlog::sinks::ostream_sink_mt>(stream_);
        sink->set_pattern("%l %v");
        auto logger = std::make_shared<spdlog::logger>("captured", sink);
        logger->set_level(spdlog::level::trace);
        spdlog::set_default_logger(logger);
    }
    ~CapturedLog() { spdlog::set_default_logger(previous_); }

    std::string Text() const { return stream_.str(); }

private:
    std::ostringstream stream_;
    std::shared_ptr<spdlog::logger> previous_;
};
