#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <netdb.h>

#include <future>
#include <thread>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/System/shared.system-hostresolver_linux.hpp"
#include "support/captured_log.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::System;
using testing::HasSubstr;
using Addresses = std::vector<std::wstring>;

// The lab's dead name server shows that the time-out does not wait for the look-up.
TEST(HostResolverLinux, AHangingLookUpTimesOutUnloggedAndFailuresCarryTheResolversText) {
    const CapturedLog log;
    std::promise<void> release;
    auto token = std::make_shared<int>();  // held only by the look-up: gone when its thread ends
    const std::weak_ptr<int> lookUpAlive = token;
    {
        const BlockingLookup hanging = [token = std::move(token),
                                        released = release.get_future().share()](
                                           const std::string&) {
            released.wait_for(std::chrono::seconds(20));  // a resolver that waits fails, not hangs
            return LookupOutcome{EAI_AGAIN, {}};
        };
        EXPECT_THAT(WhatOf([&] { ResolveWith(hanging, L"hang.lab", 50); }),
                    HasSubstr("--> Address reolution for host name \"hang.lab\" took longer than "
                              "50 ms to complete.\n"));
    }
    // The next look-up is not held up by the abandoned one, and gets its own answer.
    const BlockingLookup answering = [](const std::string&) {
        return LookupOutcome{0, {L"198.18.0.2", L"198.18.0.1"}};
    };
    EXPECT_EQ(ResolveWith(answering, L"next.lab", 5000), (Addresses{L"198.18.0.2", L"198.18.0.1"}));
    release.set_value();
    while (!lookUpAlive.expired()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    // The abandoned thread may end after the logger has shut down.
    EXPECT_THAT(log.Text(), testing::Not(HasSubstr("QueryCompleteCallback")));

    const BlockingLookup unknown = [](const std::string&) { return LookupOutcome{EAI_NONAME, {}}; };
    const std::string text = ::gai_strerror(EAI_NONAME);
    EXPECT_THAT(WhatOf([&] { ResolveWith(unknown, L"none.lab", 5000); }),
                HasSubstr("--> Failed to resolve address for host name \"none.lab\" with error: " +
                          text + "\n"));
    EXPECT_THAT(log.Text(), HasSubstr("QueryCompleteCallback() failed: " + text));

    const BlockingLookup throwing = [](const std::string&) -> LookupOutcome {
        throw std::runtime_error("look-up broke");
    };
    EXPECT_EQ(WhatOf([&] { ResolveWith(throwing, L"broken.lab", 5000); }), "look-up broke");

    Shared::Concurrency::Event stop(true);
    stop.Signal();  // the run is stopping: no answer is waited for
    const BlockingLookup answers = [](const std::string&) { return LookupOutcome{}; };
    EXPECT_THAT(WhatOf([&] { ResolveWith(answers, L"late.lab", 5000, {stop.Handle()}); }),
                HasSubstr("host name \"late.lab\" was given up: the run is stopping."));
}

}  // namespace
