#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HOPR/HOPR/hopr-hostresolution.hpp"
#include "support/captured_log.hpp"

namespace {

// Enabled, it drains its queue before stopping and resolves each address once; disabled, it
// ends at once and resolves nothing.
TEST(HostResolutionWorker, DrainsItsQueueOnceOrWhenDisabledEndsAtOnce) {
    for (const bool enabled : {true, false}) {
        const CapturedLog log;
        Shared::Concurrency::ThreadSafeQueue<std::string> queue;
        HOPR::HostNames names;
        HOPR::HostResolution::HostResolutionWorker worker(queue, names, enabled);
        queue.Push("127.0.0.1");
        queue.Push("127.0.0.1");
        worker.Start();
        worker.Stop(enabled ? std::chrono::steady_clock::time_point::max()
                            : std::chrono::steady_clock::now());
        EXPECT_EQ(queue.Size(), enabled ? 0u : 2u);
        names.ReadShared([&](const auto& map) {
            ASSERT_EQ(map.size(), enabled ? 1u : 0u);
            EXPECT_TRUE(!enabled || !map.at("127.0.0.1").empty());
        });
        EXPECT_EQ(log.Text().find("HostResolutionThread is exiting early") == std::string::npos,
                  enabled);
    }
}

}  // namespace
