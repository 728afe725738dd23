#include "common/ini.h"

#include <gtest/gtest.h>

#include "common/encoding.h"
#include "support/test_support.h"

namespace tb {
namespace {

using test::ReadFile;
using test::TempDir;
using test::WriteFile;

TEST(Ini, LookupIgnoresCaseAndKeepsOrderAndCase) {
    auto doc = IniDocument::Parse(
        "orphan=1\r\n[General]\r\nZeta = 1 \r\nalpha=\"two words\"\r\n; comment=x\r\nnovalue\r\n"
        "zeta=second\r\n[Other]\r\nk='q'\r\n");
    EXPECT_EQ(doc.Get("general", "ZETA"), "1");           // first occurrence wins, blanks trimmed
    EXPECT_EQ(doc.Get("GENERAL", "Alpha"), "two words");  // enclosing quotes removed
    EXPECT_EQ(doc.Get("other", "k"), "q");
    EXPECT_EQ(doc.Get("General", "orphan"), std::nullopt);  // before any section
    EXPECT_EQ(doc.Get("General", "; comment"), std::nullopt);
    EXPECT_EQ(doc.Get("General", "novalue"), "");
    EXPECT_EQ(doc.Keys("general"), (std::vector<std::string>{"Zeta", "alpha", "novalue", "zeta"}));
    EXPECT_EQ(doc.SectionNames(), (std::vector<std::string>{"General", "Other"}));
    EXPECT_TRUE(doc.Keys("missing").empty());
}

TEST(Ini, EnclosingQuotesOnly) {
    struct Case {
        const char* value;
        const char* read;
    } cases[] = {
        {"\"\"", ""}, {"''", ""},       {"\"a\"", "a"}, {"'a b'", "a b"},
        {"\"", "\""}, {"\"a'", "\"a'"}, {"a\"", "a\""}, {"\"a\"b\"", "a\"b"},
    };
    for (const Case& c : cases) {
        const auto doc = IniDocument::Parse(std::string("[S]\r\nk=") + c.value + "\r\n");
        EXPECT_EQ(doc.Get("S", "k"), c.read) << c.value;
        EXPECT_EQ(doc.Entries("S").at(0).second, c.read) << c.value;
    }
}

TEST(Ini, WritesKeepLayoutAndDeleteByNull) {
    TempDir dir;
    const auto file = dir / "a.ini";
    WriteFile(file, "; head\r\n[S1]\r\nA=1\r\nB=2\r\n\r\n[S2]\r\nC=3\r\n");
    ASSERT_TRUE(IniWrite(file, "s1", std::string("a"), std::string("10")));   // key case kept
    ASSERT_TRUE(IniWrite(file, "S1", std::string("New"), std::string("n")));  // before the blank
    ASSERT_TRUE(IniWrite(file, "S3", std::string("D"), std::string("4")));
    EXPECT_EQ(ReadFile(file),
              "; head\r\n[S1]\r\nA=10\r\nB=2\r\nNew=n\r\n\r\n[S2]\r\nC=3\r\n\r\n[S3]\r\nD=4\r\n");

    ASSERT_TRUE(IniWrite(file, "S1", std::string("b"), std::nullopt));  // null value: key goes
    ASSERT_TRUE(IniWrite(file, "s2", std::nullopt, std::nullopt));      // null key: section goes
    EXPECT_EQ(ReadFile(file), "; head\r\n[S1]\r\nA=10\r\nNew=n\r\n\r\n[S3]\r\nD=4\r\n");
    EXPECT_EQ(IniRead(file, "S2", "C", "dflt"), "dflt");
}

TEST(Ini, MissingFileAndFolder) {
    TempDir dir;
    EXPECT_EQ(IniRead(dir / "none.ini", "S", "K", "d"), "d");
    EXPECT_TRUE(IniSectionNames(dir / "none.ini").empty());
    EXPECT_TRUE(IniWrite(dir / "new.ini", "S", std::string("K"), std::string("v")));
    EXPECT_EQ(ReadFile(dir / "new.ini"), "[S]\r\nK=v\r\n");
    EXPECT_FALSE(IniWrite(dir / "no" / "such" / "x.ini", "S", std::string("K"), std::string("v")));
}

TEST(Ini, LineEndsAndEncodingsRoundTrip) {
    struct Case {
        const char* name;
        std::string bytes;
        TextEncoding encoding;
        std::string value;  // of [S] K, in UTF-8
    } cases[] = {
        {"lf", "[S]\nK=v\n", TextEncoding::Utf8, "v"},
        {"cr", "[S]\rK=v\r", TextEncoding::Utf8, "v"},
        {"utf8",
         "[S]\r\nK=Stra\xC3\x9F"
         "e\r\n",
         TextEncoding::Utf8,
         "Stra\xC3\x9F"
         "e"},
        {"utf8 bom", "\xEF\xBB\xBF[S]\r\nK=\xC3\xA9\r\n", TextEncoding::Utf8Bom, "\xC3\xA9"},
        {"cp1252",
         "[S]\r\nK=Stra\xDF"
         "e \x80\r\n",
         TextEncoding::Cp1252,
         "Stra\xC3\x9F"
         "e \xE2\x82\xAC"},
        {"utf16le", std::string("\xFF\xFE[\0S\0]\0\r\0\n\0K\0=\0\xE9\0", 18), TextEncoding::Utf16LE,
         "\xC3\xA9"},
        {"utf16be", std::string("\xFE\xFF\0[\0S\0]\0\n\0K\0=\0\xE9", 16), TextEncoding::Utf16BE,
         "\xC3\xA9"},
    };
    for (const auto& c : cases) {
        TempDir dir;
        const auto file = dir / "x.ini";
        WriteFile(file, c.bytes);
        EXPECT_EQ(IniRead(file, "s", "k"), c.value) << c.name;
        ASSERT_TRUE(IniWrite(file, "S", std::string("Added"), std::string("\xC3\xA9"))) << c.name;
        const auto doc = IniDocument::Load(file);
        EXPECT_EQ(doc.encoding(), c.encoding) << c.name;
        EXPECT_EQ(doc.Get("S", "K"), c.value) << c.name;
        EXPECT_EQ(doc.Get("S", "Added"), "\xC3\xA9") << c.name;
        // Written back with CR LF whatever the file had.
        const std::string decoded = DecodeText(ReadFile(file), c.encoding);
        EXPECT_NE(decoded.find("\r\n"), std::string::npos) << c.name;
        EXPECT_EQ(decoded.find("\n\n"), std::string::npos) << c.name;
    }
}

TEST(Ini, FlagsAreLeadingNumbersEqualToOne) {
    TempDir dir;
    const auto file = dir / "f.ini";
    WriteFile(file, "[G]\r\nA=1\r\nB=10\r\nC=1 ; on\r\nD=yes\r\n");
    EXPECT_TRUE(IniFlag(file, "G", "A"));
    EXPECT_FALSE(IniFlag(file, "G", "B"));
    EXPECT_TRUE(IniFlag(file, "G", "C"));
    EXPECT_FALSE(IniFlag(file, "G", "D"));
    EXPECT_FALSE(IniFlag(file, "G", "missing"));
    EXPECT_TRUE(IniFlag(file, "G", "missing", "1"));
}

}  // namespace
}  // namespace tb
