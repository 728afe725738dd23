#include "common/encoding.h"

#include <gtest/gtest.h>

#include <optional>

namespace tb {
namespace {

TEST(Encoding, Cp1252AndUtf16) {
    EXPECT_EQ(Utf8ToCp1252("\xE2\x82\xAC\xC3\xA9\xE4\xB8\xAD"), "\x80\xE9?");
    EXPECT_EQ(Cp1252ToUtf8("\x81"), "\xC2\x81");  // unassigned positions stay C1 controls
    EXPECT_EQ(Utf8ToCp1252("\xC2\x81"), "\x81");
    EXPECT_EQ(Utf16ToUtf8(Utf8ToUtf16("a\xF0\x9F\x98\x80z")), "a\xF0\x9F\x98\x80z");
    EXPECT_FALSE(IsValidUtf8("\xC0\x80"));      // overlong
    EXPECT_FALSE(IsValidUtf8("\xED\xA0\x80"));  // surrogate
    EXPECT_TRUE(IsValidUtf8("plain"));
    EXPECT_TRUE(IsValidUtf8("a\xEF\xBF\xBD b"));  // U+FFFD itself is a character like any other
    EXPECT_EQ(DetectEncoding("\xEF\xBF\xBD"), TextEncoding::Utf8);
}

struct Utf8Case {
    const char* name;
    std::string utf8;
    std::optional<std::u16string> lenient;  // unset: no use relies on what it gives
    bool valid;
};

TEST(Encoding, Utf8ToUtf16LenientAndChecked) {
    using namespace std::string_literals;
    const Utf8Case cases[] = {
        {"empty", "", u"", true},
        {"U+0000 kept", "a\0b"s, u"a\0b"s, true},
        {"two bytes", "\xC3\xA9", u"\u00E9", true},
        {"four bytes", "\xF0\x9F\x98\x80", u"\xD83D\xDE00", true},
        {"stray continuation", "\x80x", u"\xFFFDx", false},
        {"cut at the end", "x\xE2\x82", u"x\xFFFD\xFFFD", false},
        {"broken sequence", "\xC3(", u"\xFFFD(", false},
        {"no lead byte", "\xF8", u"\xFFFD", false},
        {"overlong", "\xC0\x80", u"\0"s, false},
        {"encoded surrogate", "\xED\xA0\x80", u"\xD800", false},
        {"past U+10FFFF", "\xF4\x90\x80\x80", std::nullopt, false},
    };
    for (const Utf8Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.lenient) {
            EXPECT_EQ(Utf8ToUtf16(c.utf8), *c.lenient);
        }
        std::u16string out = u"old content, longer than any case";
        EXPECT_EQ(Utf8ToUtf16Checked(c.utf8, out), c.valid);
        if (c.valid) {
            EXPECT_EQ(out, *c.lenient);
        }
    }
}

TEST(Encoding, Utf16ToUtf8AppendsAndReplacesLoneSurrogates) {
    using namespace std::string_literals;
    const struct {
        std::u16string utf16;
        std::string utf8;
    } cases[] = {
        {u"\0"s, "\0"s},
        {u"\u00E9\u20AC", "\xC3\xA9\xE2\x82\xAC"},
        {u"\xD83D\xDE00", "\xF0\x9F\x98\x80"},
        {u"\xD83Dx", "\xEF\xBF\xBDx"},
        {u"\xDE00\xD83D", "\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Utf16ToUtf8(c.utf16), c.utf8);
        std::string out = "kept:";
        AppendUtf16AsUtf8(c.utf16, out);
        EXPECT_EQ(out, "kept:" + c.utf8);
    }
}

}  // namespace
}  // namespace tb
