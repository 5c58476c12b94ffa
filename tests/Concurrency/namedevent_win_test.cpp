#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"

namespace {

using Shared::Concurrency::Event;

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
