#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"
#include "support/captured_log.hpp"

#include <sddl.h>

namespace {

using testing::HasSubstr;
using testing::Not;

// The agent makes the exit event and may grant the run nothing but waiting on it.
TEST(SerialisedRun, OpensAnExitEventThatLetsItOnlyWait) {
    SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, FALSE};
    ASSERT_TRUE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(
        L"D:P(A;;0x00100000;;;WD)", SDDL_REVISION_1, &attributes.lpSecurityDescriptor, nullptr));
    const HANDLE agent = ::CreateEventW(&attributes, TRUE, FALSE, L"Local\\hopr-test-agent-exit");
    ::LocalFree(attributes.lpSecurityDescriptor);
    ASSERT_NE(agent, nullptr);

    HOPR::RunState run(1, false);
    run.appState.parameters.isSerialised = true;
    const CapturedLog log;
    const auto exitEvent = HOPR::OpenExitEvent(L"Local\\hopr-test-agent-exit");
    ASSERT_NE(exitEvent, nullptr);
    const Shared::Concurrency::Event noTermination(true);
    HOPR::RunSerialised(run, *exitEvent, noTermination);
    EXPECT_THAT(log.Text(), HasSubstr("Sequential tracing has been completed."));
    EXPECT_THAT(log.Text(), Not(HasSubstr("Failed running a serialised test.")));
    ::CloseHandle(agent);
}

}  // namespace
