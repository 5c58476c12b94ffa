#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "Shared/src/System/shared.system-regfile.hpp"

namespace {

using Shared::System::RegistryExport;
using Shared::System::RegistryValue;

constexpr std::wstring_view kKey = L"SOFTWARE\\Velmora\\Orvia";

RegistryExport ParseBody(const std::string& body) {
    return RegistryExport::Parse("Windows Registry Editor Version 5.00\r\n\r\n" + body);
}

// The file as regedit writes it: UTF-16LE after a byte-order mark.
std::string Utf16(std::wstring_view text) {
    std::string bytes = "\xFF\xFE";
    for (const wchar_t c : text) {
        bytes += static_cast<char>(c & 0xFF);
        bytes += static_cast<char>((c >> 8) & 0xFF);
    }
    return bytes;
}

std::optional<std::uint32_t> DwordOf(const RegistryExport& registry, std::wstring_view name) {
    const auto* value = registry.Find(kKey, name);
    if (value == nullptr || value->type != RegistryValue::Type::Dword) {
        return std::nullopt;
    }
    return value->dword;
}

std::optional<std::wstring> TextOf(const RegistryExport& registry, std::wstring_view name) {
    const auto* value = registry.Find(kKey, name);
    if (value == nullptr || value->type != RegistryValue::Type::String) {
        return std::nullopt;
    }
    return value->text;
}

TEST(RegistryExport, ReadsTypesCaseInsensitivelyAndSkipsMalformedLines) {
    const auto registry = RegistryExport::Parse(
        "REGEDIT4\n"
        "; a comment\n"
        "[hkey_local_machine\\Software\\VELMORA\\Orvia]\n"
        "\"Count\"=dword:0000000a\n"
        "\"Name\"=\"say \\\"hi\\\" \\\\ bye\"\n"
        "\"Binary\"=hex:01,02\n"
        "\"Broken\"=dword:xyz\n"
        "this line is nonsense\n"
        "[HKEY_CURRENT_USER\\Software\\Velmora\\Orvia]\n"
        "\"Other\"=dword:00000001\n");
    const auto* count = registry.Find(L"SOFTWARE\\Velmora\\Orvia", L"count");
    ASSERT_NE(count, nullptr);
    EXPECT_EQ(count->type, RegistryValue::Type::Dword);
    EXPECT_EQ(count->dword, 10u);
    ASSERT_NE(registry.Find(L"software\\velmora\\orvia", L"NAME"), nullptr);
    EXPECT_EQ(registry.Find(L"software\\velmora\\orvia", L"NAME")->text, L"say \"hi\" \\ bye");
    EXPECT_EQ(registry.Find(L"SOFTWARE\\Velmora\\Orvia", L"Binary")->type,
              RegistryValue::Type::Other);
    EXPECT_EQ(registry.Find(L"SOFTWARE\\Velmora\\Orvia", L"Broken"), nullptr);
    EXPECT_EQ(registry.Find(L"SOFTWARE\\Velmora\\Orvia", L"Other"), nullptr);
}

TEST(RegistryExport, ReadsUtf16WithBomAndRejectsAFileWithoutHeader) {
    const std::string text = "Windows Registry Editor Version 5.00\r\n[HKEY_LOCAL_MACHINE\\K]\r\n"
                             "\"V\"=\"\xE2\x82\xAC\"\r\n";
    const auto utf16 = Utf16(
        L"Windows Registry Editor Version 5.00\r\n[HKEY_LOCAL_MACHINE\\K]\r\n\"V\"=\"\u20AC\"\r\n");
    EXPECT_EQ(RegistryExport::Parse(utf16).Find(L"K", L"V")->text, L"\u20AC");
    EXPECT_EQ(RegistryExport::Parse(text).Find(L"K", L"V")->text, L"\u20AC");
    EXPECT_EQ(RegistryExport::Parse("[HKEY_LOCAL_MACHINE\\K]\n\"V\"=\"x\"\n").Find(L"K", L"V"),
              nullptr);
}

TEST(RegistryExport, CommentsAfterDataAreIgnoredAndAnythingElseAfterItRejectsTheValue) {
    const auto registry = ParseBody(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
        "\"Workers\"=dword:00000003     ; name workers (default 3)\r\n"
        "\"Tight\"=dword:00000004;no space\r\n"
        "\"Short\"=dword: 5 ; \r\n"
        "\"Status\"=\"connected\"    ; disconnected, connected\r\n"
        "                          ; connected-internal, internal\r\n"
        "  \"Quoted\" = \"a ; b\";c\r\n"
        "\"Binary\"=hex:01,02 ; c\r\n"
        "\"Bytes\"=hex(4):0a,1,0,80, ; c\r\n"
        "\"TwoBytes\"=hex(4):0a,00\r\n"
        "\"Continued\"=hex(4):0a,00,00,00,\\\r\n"
        "  00\r\n"
        "\"BinaryJunk\"=hex:01,02 junk\r\n"
        "\"SpacedBytes\"=hex(4): 0a , 00 ,00,00\r\n"
        "\"TextJunk\"=\"x\" junk\r\n"
        "\"DwordJunk\"=dword:00000006 junk\r\n"
        "\"Upper\"=DWORD:00000007\r\n"
        "\"Prefixed\"=dword:0x8\r\n"
        "\"TooLong\"=dword:123456789\r\n"
        "\"Empty\"=dword:\r\n");
    EXPECT_EQ(DwordOf(registry, L"Workers"), 3u);
    EXPECT_EQ(DwordOf(registry, L"Tight"), 4u);
    EXPECT_EQ(DwordOf(registry, L"Short"), 5u);
    EXPECT_EQ(TextOf(registry, L"Status"), L"connected");
    EXPECT_EQ(TextOf(registry, L"Quoted"), L"a ; b");
    EXPECT_EQ(DwordOf(registry, L"Bytes"), 0x8000010au);
    EXPECT_EQ(registry.Find(kKey, L"Binary")->type, RegistryValue::Type::Other);
    EXPECT_EQ(registry.Find(kKey, L"TwoBytes")->type, RegistryValue::Type::Other);
    EXPECT_EQ(registry.Find(kKey, L"Continued")->type, RegistryValue::Type::Other);
    for (const auto* rejected :
         {L"TextJunk", L"DwordJunk", L"Upper", L"Prefixed", L"TooLong", L"Empty", L"SpacedBytes",
          L"BinaryJunk"}) {
        EXPECT_EQ(registry.Find(kKey, rejected), nullptr) << rejected;
    }
}

TEST(RegistryExport, StringEscapesUnfoldAsImportDoes) {
    const auto registry = ParseBody(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
        "\"Lines\"=\"a\\nb\\rc\"\r\n"
        "\"Unknown\"=\"a\\qb\"\r\n"
        "\"Nul\"=\"a\\0b\"\r\n"
        "\"Open\"=\"never closed\r\n"
        "\"n\\\"q\"=\"named with a quote\"\r\n");
    EXPECT_EQ(TextOf(registry, L"Lines"), L"a\nb\rc");
    EXPECT_EQ(TextOf(registry, L"Unknown"), L"aqb");
    EXPECT_EQ(registry.Find(kKey, L"Nul"), nullptr);
    EXPECT_EQ(registry.Find(kKey, L"Open"), nullptr);
    EXPECT_EQ(TextOf(registry, L"n\"q"), L"named with a quote");
}

// hex(1) bytes are the file's own text: narrow in a narrow file, UTF-16LE in a UTF-16 one.
TEST(RegistryExport, AStringEndsAtItsFirstZeroHoweverItIsWritten) {
    const auto registry = ParseBody(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
        "\"Bytes\"=hex(1):6f,6e,00,78,00\r\n"
        "\"Unterminated\"=hex(1):6f,c3,a9\r\n"
        "\"Empty\"=hex(1):\r\n"
        "\"Raw\"=\"on" + std::string(1, '\0') + "x\"\r\n");
    EXPECT_EQ(TextOf(registry, L"Bytes"), L"on");
    EXPECT_EQ(TextOf(registry, L"Unterminated"), L"o\u00E9");
    EXPECT_EQ(TextOf(registry, L"Empty"), L"");
    EXPECT_EQ(TextOf(registry, L"Raw"), L"on");

    const auto wide = RegistryExport::Parse(Utf16(L"Windows Registry Editor Version 5.00\r\n"
                                                  L"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
                                                  L"\"Wide\"=hex(1):6f,00,6e,00,00,00,78,00,00,00\r\n"
                                                  L"\"OddByte\"=hex(1):6f,00,6e\r\n"));
    EXPECT_EQ(TextOf(wide, L"Wide"), L"on");
    EXPECT_EQ(TextOf(wide, L"OddByte"), L"o");
}

TEST(RegistryExport, AKeyBringsItsParentsAndKeyLinesReadAsImportReadsThem) {
    const auto registry = ParseBody(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Quillon Agent\\Orvia] ; the agent\r\n"
        "[HKLM\\SOFTWARE\\Short\\]\r\n"
        "\"Kept\"=\"1\"\r\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Unclosed\r\n"
        "\"AlsoKept\"=\"2\"\r\n"
        "[HKEY_CURRENT_USER\\SOFTWARE\\Velmora\\Orvia]\r\n"
        "\"Lost\"=\"3\"\r\n");
    for (const auto* key : {L"SOFTWARE", L"SOFTWARE\\Velmora", L"software\\velmora\\quillon agent",
                            L"SOFTWARE\\Velmora\\Quillon Agent\\Orvia", L"SOFTWARE\\Short"}) {
        EXPECT_TRUE(registry.HasKey(key)) << key;
    }
    EXPECT_FALSE(registry.HasKey(L"SOFTWARE\\Velmora\\Quillon"));
    EXPECT_FALSE(registry.HasKey(L"SOFTWARE\\Unclosed"));
    EXPECT_NE(registry.Find(L"SOFTWARE\\Short", L"Kept"), nullptr);
    EXPECT_NE(registry.Find(L"SOFTWARE\\Short", L"AlsoKept"), nullptr);
    EXPECT_EQ(registry.Find(kKey, L"Lost"), nullptr);
}

TEST(RegistryExport, DeletionsApplyInFileOrder) {
    const auto registry = ParseBody(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
        "\"Gone\"=\"1\"\r\n"
        "\"Stays\"=\"2\"\r\n"
        "\"Gone\"=-   ; removed again\r\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand\\Orvia]\r\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand Two]\r\n"
        "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand]\r\n"
        "\"Orphan\"=\"nowhere\"\r\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
        "\"Back\"=\"3\"\r\n");
    EXPECT_EQ(registry.Find(kKey, L"Gone"), nullptr);
    EXPECT_EQ(TextOf(registry, L"Stays"), L"2");
    EXPECT_EQ(TextOf(registry, L"Back"), L"3");
    EXPECT_FALSE(registry.HasKey(L"SOFTWARE\\Velmora\\Kestrand"));
    EXPECT_FALSE(registry.HasKey(L"SOFTWARE\\Velmora\\Kestrand\\Orvia"));
    EXPECT_TRUE(registry.HasKey(L"SOFTWARE\\Velmora\\Kestrand Two"));
    EXPECT_TRUE(registry.HasKey(L"SOFTWARE\\Velmora"));
}

}  // namespace
