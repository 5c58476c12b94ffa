#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"

namespace {

using namespace Shared::Exception;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(ExceptionText, BaseExceptionUsesLocationFormWithModulePath) {
    const RuntimeError error("Handle is null or invalid.");
    const std::string text = error.what();
    EXPECT_THAT(text, StartsWith("Exception in "));
    // The module is named by its path in the repository, without extension.
    EXPECT_THAT(text, HasSubstr("() at tests/Exception/exception_test:"));
    EXPECT_EQ(ModulePathOf("/elsewhere/file"), "/elsewhere/file");
    EXPECT_THAT(text, HasSubstr(" --> Handle is null or invalid.\nStacktrace:\n"));
    const InvalidArgument invalid("handles is empty");
    EXPECT_NE(dynamic_cast<const std::invalid_argument*>(&invalid), nullptr);
}

TEST(ExceptionText, Win32CodeZeroHasNoTranslationAndNoHint) {
    const Win32Exception error("Failed to set timer", 0);
    const std::string text = error.what();
    EXPECT_THAT(text, StartsWith("Exception in function "));
    EXPECT_THAT(text, HasSubstr(": Failed to set timer\nStacktrace:\n"));
    EXPECT_THAT(text, Not(HasSubstr(" --> ")));
    EXPECT_EQ(error.Code(), 0u);
}

TEST(ExceptionText, Win32CodesAreTranslatedHintedAndPrintedUnsigned) {
    const Win32Exception known("op failed", 2);
    EXPECT_THAT(known.what(),
                HasSubstr(" --> " + TranslateSystemError(2) + " (error code 0X2)\n"));

    const Win32Exception dns("op failed", 12007);
    EXPECT_THAT(dns.what(),
                HasSubstr(" --> Failed to translate Win32 error code: 12007 (error code 0X2EE7)"));
    EXPECT_THAT(dns.what(), EndsWith(HintFor(12007)));

    const Win32Exception allOnes("op failed", 0xFFFFFFFF);
    EXPECT_THAT(allOnes.what(), HasSubstr("Failed to translate Win32 error code: 4294967295"));
    EXPECT_EQ(allOnes.Code(), 0xFFFFFFFFu);
}

TEST(ExceptionText, WinSockNeverHintsAndNtStatusAndComHaveTheirForms) {
    const Shared::WinSock::WinSockException socket("connect() failed", 12002);
    EXPECT_THAT(socket.what(), Not(HasSubstr(HintFor(12002))));
    EXPECT_THAT(socket.what(), HasSubstr(": connect() failed --> "));

    const NtStatusException status("RtlIpv4StringToAddressW() failed", 0xC000000D);
    EXPECT_THAT(status.what(),
                HasSubstr(" --> " + TranslateModuleError(0xC000000D, ErrorModule::NtDll) +
                          " (NTSTATUS code 0XC000000D).\n"));

    const ComException com("CoInitializeEx() failed", 0x80090328);
    EXPECT_THAT(com.what(), StartsWith("COM Exception in function "));
    EXPECT_THAT(com.what(), HasSubstr("(HRESULT 0X80090328)"));
    EXPECT_THAT(com.what(), EndsWith(HintFor(0x80090328)));
}

TEST(ExceptionText, OnlyTheWin32FormStripsOneLineBreak) {
    EXPECT_EQ(StripOneTrailingCrLf("text\r\n\r\n"), "text\r\n");
    EXPECT_EQ(StripOneTrailingCrLf("text\n"), "text\n");
    EXPECT_EQ(HintFor(12193), "");
}

TEST(ExceptionText, StackTraceStopsAtStartupFrames) {
    EXPECT_EQ(RenderStackTrace({}), "Stacktrace:\n");
    EXPECT_EQ(RenderStackTrace({{"__libc_start_main", "", 0}, {"main", "a.cpp", 3}}),
              "Stacktrace:\n");
    EXPECT_EQ(RenderStackTrace({{"Worker()", "w.cpp", 12}, {"noname", "", 0},
                                {"invoke_main", "", 0}}),
              "Stacktrace:\n\tFrame: Worker()\n\tSource file: w.cpp:12\n"
              "\t------------------------------------\n"
              "\tFrame: noname\n\t------------------------------------\n");
}

TEST(ExceptionText, NestedRenderingPutsOutermostFirst) {
    std::string single;
    RenderNested(std::runtime_error("alone"), single);
    EXPECT_EQ(single, "Exception: alone");

    try {
        try {
            throw std::runtime_error("inner");
        } catch (...) {
            std::throw_with_nested(std::logic_error("outer"));
        }
    } catch (const std::exception& e) {
        std::string rendered;
        RenderNested(e, rendered);
        EXPECT_EQ(rendered, "Exception: outer\nNested exception: inner");
    }
}

}  // namespace
