#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "support/thrown.hpp"

namespace {

using namespace Shared::Exception;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr int kFailLine = __LINE__ + 2;
[[gnu::noinline]] void FailInNamedFunction() {
    throw RuntimeError("named failure");
}

template <int N>
struct PaddingTypeWhoseNameMakesTheSymbolLong {};

template <typename... Padding>
[[gnu::noinline]] void FailInLongNamedFunction() {
    throw RuntimeError("long name");
}

template <int... N>
void FailInLongNamedFunctionFor(std::integer_sequence<int, N...>) {
    FailInLongNamedFunction<PaddingTypeWhoseNameMakesTheSymbolLong<N>...>();
}

TEST(ExceptionText, EachKindHasItsForm) {
    const std::pair<std::string, testing::Matcher<std::string>> forms[] = {
        // The module is named by its path in the repository, without extension.
        {RuntimeError("Handle is null or invalid.").what(),
         AllOf(StartsWith("Exception in "), HasSubstr("() at tests/Exception/exception_test:"),
               HasSubstr(" --> Handle is null or invalid.\nStacktrace:\n"))},
        // Code zero: no translation, no hint.
        {Win32Exception("Failed to set timer", 0).what(),
         AllOf(StartsWith("Exception in function "), Not(HasSubstr(" --> ")),
               HasSubstr(": Failed to set timer\nStacktrace:\n"))},
        {Win32Exception("op failed", 12007).what(),
         AllOf(HasSubstr(" --> Failed to translate Win32 error code: 12007 (error code 0X2EE7)"),
               EndsWith(HintFor(12007)))},
        {Win32Exception("op failed", 0xFFFFFFFF).what(),
         HasSubstr("Failed to translate Win32 error code: 4294967295")},
        {Shared::WinSock::WinSockException("connect() failed", 12002).what(),
         AllOf(HasSubstr(": connect() failed --> "), Not(HasSubstr(HintFor(12002))))},
        {NtStatusException("RtlIpv4StringToAddressW() failed", 0xC000000D).what(),
         HasSubstr(" --> " + TranslateModuleError(0xC000000D, ErrorModule::NtDll) +
                   " (NTSTATUS code 0XC000000D).\n")},
        {ComException("CoInitializeEx() failed", 0x80090328).what(),
         AllOf(StartsWith("COM Exception in function "), HasSubstr("(HRESULT 0X80090328)"),
               EndsWith(HintFor(0x80090328)))},
    };
    for (const auto& [text, form] : forms) {
        EXPECT_THAT(text, form);
    }
    // Only the Win32 form strips one line break.
    EXPECT_EQ(StripOneTrailingCrLf("text\r\n\r\n") + StripOneTrailingCrLf("\n"), "text\r\n\n");
    std::string rendered;  // a single exception's form: GuardedLog's test
    try {
        try {
            throw std::runtime_error("inner");
        } catch (...) {
            std::throw_with_nested(std::logic_error("outer"));
        }
    } catch (const std::exception& e) {
        RenderNested(e, rendered);
    }
    EXPECT_EQ(rendered, "Exception: outer\nNested exception: inner");
}

// Throwing symbolises nothing; the first read does, once, for every copy and every thread.
TEST(ExceptionStackTrace, NamesTheThrowerOnceForAllReadersUpToTheStartupFrames) {
    const auto before = SymbolisedStacks();
    const auto shared = Thrown<RuntimeError>(FailInNamedFunction);
    EXPECT_EQ(SymbolisedStacks(), before);
    std::vector<std::string> seen(8), own(seen.size());
    std::vector<std::thread> readers;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        readers.emplace_back([&, i] {
            seen[i] = shared.what();
            own[i] = Thrown<RuntimeError>(FailInNamedFunction).what();
        });
    }
    for (auto& reader : readers) {
        reader.join();
    }
    const std::string text = RuntimeError(shared).what();
    for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i], text);
        EXPECT_THAT(own[i], HasSubstr("FailInNamedFunction\n"));
    }
    EXPECT_EQ(SymbolisedStacks(), before + 1 + seen.size());

    const auto frame = text.find("FailInNamedFunction\n\tSource file: ");
    ASSERT_NE(frame, std::string::npos) << text;
    EXPECT_THAT(text.substr(frame, text.find("\t---", frame) - frame),
                EndsWith("exception_test.cpp:" + std::to_string(kFailLine) + "\n"));
    EXPECT_THAT(text, Not(HasSubstr("CRTStartup")));
    const auto& fromThread = own[0];
    for (const char* outer : {"pthread_create_wrapper", "_beginthreadex", "BaseThreadInitThunk",
                              "RtlUserThreadStart"}) {
        EXPECT_THAT(fromThread, Not(HasSubstr(outer)));
    }
    // Code without line information is named from the symbol table, only by a symbol that starts
    // its own function: what std::thread's body returns to is nameless here or a stop frame.
    const auto run = fromThread.find("_M_run");
    ASSERT_NE(run, std::string::npos) << fromThread;
    const auto next = fromThread.find("\tFrame: ", run);
    if (next != std::string::npos) {
        EXPECT_TRUE(std::string_view(fromThread).substr(next).starts_with("\tFrame: 0x"));
    }

    // Longer than the name buffer of the Windows lookup (and short of what Wine's DWARF reader
    // takes).
    const std::string longText = Thrown<RuntimeError>([] {
        FailInLongNamedFunctionFor(std::make_integer_sequence<int, 28>{});
    }).what();
    EXPECT_EQ(longText.find('\0'), std::string::npos);
    const auto longFrame = longText.find("\tFrame: FailInLongNamedFunction<");
    ASSERT_NE(longFrame, std::string::npos) << longText;
    const auto end = longText.find('\n', longFrame);
    EXPECT_GT(end - longFrame, 1000u);
    EXPECT_THAT(std::string(longText, end), testing::AnyOf(StartsWith("\n\tSource file: "),
                                                           StartsWith("\n\t---")));
    // The capture leaves itself out.
    EXPECT_THAT(Symbolise(CaptureStack()).at(0).description, HasSubstr("TestBody"));
}

TEST(ExceptionStackTrace, RuntimeStartupAndThreadStartFramesEndTheWalk) {
    const StackTrace worker = {{"Worker()", "w.cpp", 12}, {"noname", "", 0}};
    EXPECT_EQ(RenderStackTrace(worker),
              "Stacktrace:\n\tFrame: Worker()\n\tSource file: w.cpp:12\n"
              "\t------------------------------------\n"
              "\tFrame: noname\n\t------------------------------------\n");
    for (const char* outer :
         {"__tmainCRTStartup", "mainCRTStartup", "WinMainCRTStartup", "pthread_create_wrapper",
          "execute_native_thread_routine", "_threadstartex", "_beginthreadex_trampoline",
          "BaseThreadInitThunk", "RtlUserThreadStart", "__libc_start_main", "invoke_main"}) {
        auto trace = worker;
        trace.push_back({outer, "", 0});
        trace.push_back({"beyond()", "b.cpp", 1});
        EXPECT_EQ(RenderStackTrace(trace), RenderStackTrace(worker)) << outer;
    }
    // Past main only nameless startup frames follow.
    EXPECT_EQ(RenderStackTrace({{"main", "m.cpp", 3}, {"0x1400013ae", "", 0}}),
              "Stacktrace:\n\tFrame: main\n\tSource file: m.cpp:3\n"
              "\t------------------------------------\n");
}

}  // namespace
