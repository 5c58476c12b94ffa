#include <gtest/gtest.h>

#include <string>

#include "Shared/src/System/shared.system-regfile.hpp"

namespace {

using Shared::System::RegistryExport;
using Shared::System::RegistryValue;

constexpr std::wstring_view kKey = L"SOFTWARE\\Velmora\\Orvia";
constexpr const char* kHeader = "Windows Registry Editor Version 5.00\r\n";

// A value as the tables below spell it: a dword in decimal, a string quoted, "other", "absent".
std::wstring Shown(const RegistryExport& registry, std::wstring_view name,
                   std::wstring_view key = kKey) {
    const auto* value = registry.Find(key, name);
    if (value == nullptr || value->type == RegistryValue::Type::Dword) {
        return value == nullptr ? L"absent" : std::to_wstring(value->dword);
    }
    return value->type == RegistryValue::Type::String ? L"'" + value->text + L"'" : L"other";
}

TEST(RegistryExport, ValuesReadAsImportReadsThemAndMalformedOnesAreDropped) {
    const auto registry = RegistryExport::Parse(
        std::string(kHeader) + "; a comment\r\n"
        "[hkey_local_machine\\Software\\VELMORA\\Orvia]\r\n"
        "\"Short\"=dword: a;c\r\n"
        "  \"Quoted\" = \"a ; b\";c\r\n"
        "\"Name\"=\"say \\\"hi\\\" \\\\ bye\"\r\n"
        "\"Lines\"=\"a\\nb\\rc\"\r\n"
        "\"Raw\"=\"on" + std::string(1, '\0') + "x\"\r\n"
        "\"Hex1Open\"=hex(1):6f,c3,a9\r\n"
        "\"Bytes\"=hex(4):0a,1,0,80, ; c\r\n"
        "\"Binary\"=hex:01,02 ; c\r\n"
        "\"TwoBytes\"=hex(4):0a,00\r\n"
        "\"Continued\"=hex(4):0a,00,00,00,\\\r\n"
        "  00\r\n"
        "\"Nul\"=\"a\\0b\"\r\n"
        "\"Open\"=\"never closed\r\n"
        "\"BinaryJunk\"=hex:01,02 junk\r\n"
        "\"SpacedBytes\"=hex(4): 0a , 00 ,00,00\r\n"
        "\"TextJunk\"=\"x\" junk\r\n"
        "\"Upper\"=DWORD:00000007\r\n"
        "\"Prefixed\"=dword:0x8\r\n"
        "\"TooLong\"=dword:123456789\r\n"
        "\"Empty\"=dword:\r\n"
        "[HKEY_CURRENT_USER\\Software\\Velmora\\Orvia]\r\n"
        "\"Other\"=dword:00000001\r\n");
    // Same-path variants (another comment, escape, junk or zero-ended form) are left out.
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"short", L"10"}, {L"Quoted", L"'a ; b'"}, {L"NAME", L"'say \"hi\" \\ bye'"},
        {L"Lines", L"'a\nb\rc'"}, {L"Raw", L"'on'"}, {L"Hex1Open", L"'o\u00E9'"},
        {L"Bytes", L"2147483914"}, {L"Binary", L"other"}, {L"TwoBytes", L"other"},
        {L"Continued", L"other"},
    };
    for (const auto& [name, shown] : cases) {
        EXPECT_EQ(Shown(registry, name, L"software\\velmora\\orvia"), shown) << name;
    }
    for (const auto* dropped :
         {L"Nul", L"Open", L"BinaryJunk", L"SpacedBytes", L"TextJunk", L"Upper", L"Prefixed",
          L"TooLong", L"Empty", L"Other"}) {
        EXPECT_EQ(registry.Find(kKey, dropped), nullptr) << dropped;
    }
}

TEST(RegistryExport, EncodingsAndHeaders) {
    // As regedit writes it: UTF-16LE after a byte-order mark, on a little-endian machine.
    const std::u16string utf16 = u"\uFEFFWindows Registry Editor Version 5.00\r\n"
                                 u"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
                                 u"\"V\"=\"\u20AC\"\r\n\"OddByte\"=hex(1):6f,00,6e\r\n";
    const auto wide = RegistryExport::Parse(
        std::string(reinterpret_cast<const char*>(utf16.data()), utf16.size() * 2));
    EXPECT_EQ(Shown(wide, L"V"), L"'\u20AC'");
    EXPECT_EQ(Shown(wide, L"OddByte"), L"'o'");
    const std::string body = "[HKEY_LOCAL_MACHINE\\K]\n\"V\"=\"\xE2\x82\xAC\"\n";
    EXPECT_EQ(Shown(RegistryExport::Parse(kHeader + body), L"V", L"K"), L"'\u20AC'");
    EXPECT_EQ(Shown(RegistryExport::Parse("REGEDIT4\n" + body), L"V", L"K"), L"'\u20AC'");
    EXPECT_EQ(Shown(RegistryExport::Parse(body), L"V", L"K"), L"absent");
}

TEST(RegistryExport, KeysBringTheirParentsAndDeletionsApplyInFileOrder) {
    const auto registry = RegistryExport::Parse(
        std::string(kHeader) +
        "[HKLM\\SOFTWARE\\Short\\]\r\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Unclosed\r\n"
        "\"Kept\"=\"2\"\r\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
        "\"Gone\"=\"1\"\r\n"
        "\"Stays\"=\"2\"\r\n"
        "\"Gone\"=-   ; removed again\r\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand\\Orvia]\r\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand Two] ; a comment\r\n"
        "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand]\r\n"
        "\"Orphan\"=\"nowhere\"\r\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\r\n"
        "\"Back\"=\"3\"\r\n");
    const std::pair<const wchar_t*, bool> keys[] = {
        {L"SOFTWARE", true}, {L"software\\velmora", true}, {L"SOFTWARE\\Short", true},
        {L"SOFTWARE\\Velmora\\Kestrand Two", true}, {L"SOFTWARE\\Unclosed", false},
        {L"SOFTWARE\\Velmora\\Kestrand", false}, {L"SOFTWARE\\Velmora\\Kestrand\\Orvia", false},
    };
    for (const auto& [key, exists] : keys) {
        EXPECT_EQ(registry.HasKey(key), exists) << key;
    }
    EXPECT_EQ(Shown(registry, L"Kept", L"SOFTWARE\\Short"), L"'2'");
    EXPECT_EQ(Shown(registry, L"Gone"), L"absent");
    EXPECT_EQ(Shown(registry, L"Stays"), L"'2'");
    EXPECT_EQ(Shown(registry, L"Back"), L"'3'");
}

}  // namespace
