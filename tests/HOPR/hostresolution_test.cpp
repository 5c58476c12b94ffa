#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HOPR/HOPR/hopr-hostresolution.hpp"
#include "support/captured_log.hpp"

namespace {

TEST(HostResolutionWorker, DrainsItsQueueBeforeStoppingAndResolvesEachAddressOnce) {
    Shared::Concurrency::ThreadSafeQueue<std::string> queue;
    HOPR::HostNames names;
    HOPR::HostResolution::HostResolutionWorker worker(queue, names);
    queue.Push("127.0.0.1");
    queue.Push("127.0.0.1");
    worker.Start();
    worker.Stop(std::chrono::steady_clock::time_point::max());
    EXPECT_EQ(queue.Size(), 0u);
    names.ReadShared([](const auto& map) {
        ASSERT_EQ(map.size(), 1u);
        EXPECT_FALSE(map.at("127.0.0.1").empty());
    });
}

TEST(HostResolutionWorker, DisabledWorkerEndsAtOnceAndResolvesNothing) {
    const CapturedLog log;
    Shared::Concurrency::ThreadSafeQueue<std::string> queue;
    HOPR::HostNames names;
    HOPR::HostResolution::HostResolutionWorker worker(queue, names, false);
    queue.Push("127.0.0.1");
    worker.Start();
    worker.Stop(std::chrono::steady_clock::now());
    EXPECT_EQ(queue.Size(), 1u);
    EXPECT_THAT(log.Text(), testing::HasSubstr("HostResolutionThread is exiting early"));
}

}  // namespace
