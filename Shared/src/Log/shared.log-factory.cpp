#include "Shared/src/Log/shared.log-factory.hpp"

#include <chrono>
#include <mutex>

#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Log/shared.log-directory.hpp"
#include "Shared/src/Log/shared.log-eventlogsink.hpp"
#include "Shared/src/Log/shared.log-rotatingfilesink.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

namespace Log {
namespace {

spdlog::sink_ptr MakeFileSink(const std::string& fileName, std::uint32_t maxFiles,
                              std::uint32_t maxFileSize) {
    return std::make_shared<sinks::rotating_file_sink<std::mutex>>(
        Shared::Util::JoinPath(LogDirectory(), fileName), maxFileSize, maxFiles);
}

std::vector<spdlog::sink_ptr> MakeSinks(LoggingMode mode, const std::string& fileName,
                                        std::uint32_t maxFiles, std::uint32_t maxFileSize) {
    const auto console = [] { return std::make_shared<spdlog::sinks::stdout_color_sink_mt>(); };
    switch (mode) {
        case LoggingMode::None:
            return {std::make_shared<spdlog::sinks::null_sink_st>()};
        case LoggingMode::EventLog:
            return {MakeEventLogSink()};
        case LoggingMode::Console:
            return {console()};
        case LoggingMode::File:
            return {MakeFileSink(fileName, maxFiles, maxFileSize)};
        case LoggingMode::ConsoleAndFile:
            return {console(), MakeFileSink(fileName, maxFiles, maxFileSize)};
        case LoggingMode::ConsoleAndEventLog:
            return {console(), MakeEventLogSink()};
    }
    throw Shared::Exception::RuntimeError("Unsupported LogTarget");
}

}  // namespace

void CreateLogger(LoggingMode mode, spdlog::level::level_enum level, const std::string& fileName,
                  std::uint32_t maxFiles, std::uint32_t maxFileSize) {
    auto sinks = MakeSinks(mode, fileName, maxFiles, maxFileSize);
    auto logger = std::make_shared<spdlog::logger>("default", sinks.begin(), sinks.end());
    spdlog::drop("default");
    spdlog::register_logger(logger);
    spdlog::set_default_logger(logger);
    spdlog::set_level(level);
}

void StartPeriodicFlush() {
    spdlog::flush_every(std::chrono::seconds(5));
}

}  // namespace Log
