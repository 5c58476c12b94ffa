#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

#include <sddl.h>
#include <winternl.h>

namespace {

using Shared::Concurrency::Event;

// An event made by another party whose security lets everyone wait on it and do nothing else.
HANDLE CreateWaitOnlyEvent(const wchar_t* name) {
    SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, FALSE};
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(
            L"D:P(A;;0x00100000;;;WD)", SDDL_REVISION_1, &attributes.lpSecurityDescriptor,
            nullptr)) {
        return nullptr;
    }
    const HANDLE event = ::CreateEventW(&attributes, TRUE, FALSE, name);
    ::LocalFree(attributes.lpSecurityDescriptor);
    return event;
}

ACCESS_MASK GrantedAccess(HANDLE handle) {
    PUBLIC_OBJECT_BASIC_INFORMATION information{};
    if (::NtQueryObject(handle, ObjectBasicInformation, &information, sizeof information,
                        nullptr) != 0) {
        return 0;
    }
    return information.GrantedAccess;
}

TEST(NamedEvent, AnAgentsEventThatGrantsOnlyWaitingIsOpenedForWaiting) {
    const HANDLE agent = CreateWaitOnlyEvent(L"Local\\hopr-test-wait-only");
    ASSERT_NE(agent, nullptr);
    try {
        Event everything(true, false, L"Local\\hopr-test-wait-only");
        ADD_FAILURE() << "every right was granted";
    } catch (const Shared::Exception::Win32Exception& e) {
        EXPECT_EQ(e.Code(), 5u);  // access denied
    }
    Event exitEvent(true, false, L"Local\\hopr-test-wait-only",
                    Shared::Concurrency::kSynchronizeAccess);
    EXPECT_EQ(GrantedAccess(exitEvent.Handle()), SYNCHRONIZE);
    EXPECT_FALSE(exitEvent.WaitOnEvent(0, false));
    ::SetEvent(agent);
    EXPECT_TRUE(exitEvent.WaitOnEvent(0, false));
    ::CloseHandle(agent);
}

TEST(NamedEvent, AMissingWaitOnlyEventIsCreatedForTheAgentToOpenAndSignal) {
    Event exitEvent(true, false, L"Local\\hopr-test-created-wait-only",
                    Shared::Concurrency::kSynchronizeAccess);
    EXPECT_EQ(GrantedAccess(exitEvent.Handle()), SYNCHRONIZE);
    const HANDLE agent =
        ::OpenEventW(EVENT_MODIFY_STATE, FALSE, L"Local\\hopr-test-created-wait-only");
    ASSERT_NE(agent, nullptr);
    EXPECT_FALSE(exitEvent.WaitOnEvent(0, false));
    ::SetEvent(agent);
    EXPECT_TRUE(exitEvent.WaitOnEvent(0, false));
    ::CloseHandle(agent);
}

TEST(NamedEvent, OpenedEventSeesTheOwnersSignalButCannotSignalItself) {
    Event owner(true, false, L"Local\\hopr-test-exit");
    Event opened(true, true, L"Local\\hopr-test-exit");
    EXPECT_FALSE(opened.WaitOnEvent(0, false));
    owner.Signal();
    EXPECT_TRUE(opened.WaitOnEvent(0, false));
    // Opened for waiting only: signalling needs a right it was not given.
    try {
        opened.Reset();
        ADD_FAILURE();
    } catch (const Shared::Exception::Win32Exception& e) {
        EXPECT_EQ(e.Code(), 5u);  // access denied
        EXPECT_THAT(e.what(), testing::HasSubstr("ResetEvent() failed"));
    }
    Event createdAgain(true, false, L"Local\\hopr-test-exit");  // opens the existing one
    EXPECT_TRUE(createdAgain.WaitOnEvent(0, false));
}

TEST(NamedEvent, OpeningAMissingEventNamesIt) {
    try {
        Event missing(true, true, L"nobody-made-this");
        ADD_FAILURE();
    } catch (const Shared::Exception::Win32Exception& e) {
        EXPECT_EQ(e.Code(), 2u);  // file not found
        EXPECT_THAT(e.what(), testing::HasSubstr("Failed to create or open event nobody-made-this"));
    }
}

}  // namespace
