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
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr int kFailLine = __LINE__ + 2;
[[gnu::noinline]] void FailInNamedFunction() {
    throw RuntimeError("named failure");
}

[[gnu::noinline]] void FailWithCode() {
    throw Win32Exception("op failed", 2);
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

TEST(ExceptionStackTrace, CaptureLeavesItselfOutAndStartsAtTheCaller) {
    const auto trace = Symbolise(CaptureStack());
    ASSERT_FALSE(trace.empty());
    EXPECT_THAT(trace.front().description, HasSubstr("TestBody"));
}

TEST(ExceptionStackTrace, RenderedTextNamesTheThrowingFunctionAndItsLine) {
    const std::string text = Thrown<RuntimeError>(FailInNamedFunction).what();
    const auto frame = text.find("FailInNamedFunction\n\tSource file: ");
    ASSERT_NE(frame, std::string::npos) << text;
    const auto block = text.substr(frame, text.find("\t---", frame) - frame);
    EXPECT_THAT(block, EndsWith("stacktrace_test.cpp:" + std::to_string(kFailLine) + "\n"));
}

// Longer than the name buffer of the Windows lookup (and short of what Wine's DWARF reader takes).
TEST(ExceptionStackTrace, LongSymbolNamesKeepTheTextWellFormed) {
    const std::string text = Thrown<RuntimeError>([] {
        FailInLongNamedFunctionFor(std::make_integer_sequence<int, 28>{});
    }).what();
    EXPECT_EQ(text.find('\0'), std::string::npos);
    const auto frame = text.find("\tFrame: FailInLongNamedFunction<");
    ASSERT_NE(frame, std::string::npos) << text;
    const auto end = text.find('\n', frame);
    EXPECT_GT(end - frame, 1000u);
    const auto next = std::string_view(text).substr(end);
    EXPECT_TRUE(next.starts_with("\n\tSource file: ") || next.starts_with("\n\t---"))
        << text.substr(end, 40);
}

TEST(ExceptionStackTrace, ThrowingSymbolisesNothingAndTheFirstReadSymbolisesOnce) {
    const auto before = SymbolisedStacks();
    const auto plain = Thrown<RuntimeError>(FailInNamedFunction);
    const auto coded = Thrown<Win32Exception>(FailWithCode);
    EXPECT_EQ(SymbolisedStacks(), before);

    const std::string first = plain.what();
    EXPECT_EQ(SymbolisedStacks(), before + 1);
    const RuntimeError copy = plain;
    EXPECT_EQ(plain.what(), first);
    EXPECT_EQ(copy.what(), first);

    const std::string coded_text = coded.what();
    EXPECT_EQ(coded.what(), coded_text);
    EXPECT_THAT(coded_text, HasSubstr("FailWithCode\n"));
    EXPECT_EQ(SymbolisedStacks(), before + 2);
}

TEST(ExceptionStackTrace, ReadersOnManyThreadsShareOneText) {
    const auto shared = Thrown<RuntimeError>(FailInNamedFunction);
    std::vector<std::string> seen(8);
    std::vector<std::string> own(seen.size());
    std::vector<std::thread> readers;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        readers.emplace_back([&, i] {
            seen[i] = shared.what();
            own[i] = Thrown<Win32Exception>(FailWithCode).what();
        });
    }
    for (auto& reader : readers) {
        reader.join();
    }
    for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i], shared.what());
        EXPECT_THAT(own[i], HasSubstr("FailWithCode\n"));
    }
}

TEST(ExceptionStackTrace, RuntimeStartupAndThreadStartFramesEndTheWalk) {
    const StackTrace worker = {{"Worker()", "w.cpp", 12}};
    for (const char* outer :
         {"__tmainCRTStartup", "mainCRTStartup", "WinMainCRTStartup", "pthread_create_wrapper",
          "execute_native_thread_routine", "_threadstartex", "_beginthreadex_trampoline",
          "BaseThreadInitThunk", "RtlUserThreadStart", "__libc_start_main"}) {
        auto trace = worker;
        trace.push_back({outer, "", 0});
        trace.push_back({"beyond()", "b.cpp", 1});
        EXPECT_EQ(RenderStackTrace(trace), RenderStackTrace(worker)) << outer;
    }
    const StackTrace throughMain = {{"Worker()", "w.cpp", 12}, {"main", "m.cpp", 3}};
    auto withStartup = throughMain;
    withStartup.push_back({"0x1400013ae", "", 0});
    EXPECT_EQ(RenderStackTrace(withStartup), RenderStackTrace(throughMain));
    EXPECT_THAT(RenderStackTrace(throughMain), HasSubstr("\tFrame: main\n"));

    const std::string fromMain = Thrown<RuntimeError>(FailInNamedFunction).what();
    EXPECT_THAT(fromMain, Not(HasSubstr("CRTStartup")));
    const auto mainFrame = fromMain.find("\tFrame: main\n");
    if (mainFrame != std::string::npos) {
        EXPECT_EQ(fromMain.find("\tFrame: ", mainFrame + 1), std::string::npos) << fromMain;
    }
    std::string fromThread;
    std::thread([&] { fromThread = Thrown<RuntimeError>(FailInNamedFunction).what(); }).join();
    EXPECT_THAT(fromThread, HasSubstr("FailInNamedFunction\n"));
    for (const char* outer : {"pthread_create_wrapper", "_beginthreadex", "BaseThreadInitThunk",
                              "RtlUserThreadStart"}) {
        EXPECT_THAT(fromThread, Not(HasSubstr(outer)));
    }
}

// Library code without debug information is named from the symbol table, but only by a symbol
// that starts its own function: a static function has none, and the one before it is another's.
TEST(ExceptionStackTrace, FramesWithoutLineInformationKeepOnlyTheirOwnFunctionsName) {
    std::string fromThread;
    std::thread([&] { fromThread = Thrown<RuntimeError>(FailInNamedFunction).what(); }).join();
    const auto run = fromThread.find("_M_run");
    ASSERT_NE(run, std::string::npos) << fromThread;
    // What std::thread's body returns to is its start routine: nameless here or a stop frame.
    const auto next = fromThread.find("\tFrame: ", run);
    if (next != std::string::npos) {
        EXPECT_TRUE(std::string_view(fromThread).substr(next).starts_with("\tFrame: 0x"))
            << fromThread.substr(next);
    }
}

}  // namespace
