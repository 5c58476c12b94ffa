#include "Shared/src/Exception/shared.exception-stacktrace.hpp"

#include <boost/stacktrace.hpp>

namespace Shared::Exception {

StackTrace CaptureStackTrace() {
    StackTrace trace;
    try {
        const boost::stacktrace::stacktrace captured(1, static_cast<std::size_t>(-1));
        trace.reserve(captured.size());
        for (const auto& frame : captured) {
            auto description = frame.name();
            if (description.empty()) {
                description = boost::stacktrace::to_string(frame);
            }
            trace.push_back({std::move(description), frame.source_file(), frame.source_line()});
        }
    } catch (...) {
        // A trace is a courtesy; an exception must still be constructible without one.
    }
    return trace;
}

}  // namespace Shared::Exception
