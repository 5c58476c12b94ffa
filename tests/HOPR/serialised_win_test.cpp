#include <gtest/gtest.h>

#include "HOPR/HOPR/hopr-helpers.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

#include <sddl.h>

namespace {

// The agent makes the exit event and may grant the run nothing but waiting on it.
TEST(SerialisedRun, OpensAnExitEventThatLetsItOnlyWait) {
    SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, FALSE};
    ASSERT_TRUE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(
        L"D:P(A;;0x00100000;;;WD)", SDDL_REVISION_1, &attributes.lpSecurityDescriptor, nullptr));
    const HANDLE agent = ::CreateEventW(&attributes, TRUE, FALSE, L"Local\\hopr-test-agent-exit");
    ::LocalFree(attributes.lpSecurityDescriptor);
    ASSERT_NE(agent, nullptr);

    const auto exitEvent = HOPR::OpenExitEvent(L"Local\\hopr-test-agent-exit");
    ASSERT_NE(exitEvent, nullptr);
    EXPECT_FALSE(Shared::Concurrency::WaitFor(exitEvent->Handle(), 0, false));
    ::SetEvent(agent);
    EXPECT_TRUE(Shared::Concurrency::WaitFor(exitEvent->Handle(), 0, false));
    ::CloseHandle(agent);
}

}  // namespace
