#include "common/text.h"

#include <gtest/gtest.h>

#include "common/error.h"
#include "common/md5.h"
#include "common/str_concat.h"

namespace tb {
namespace {

TEST(SqlText, LiteralsAndBrackets) {
    EXPECT_EQ(SqlLiteral("O'Brien"), "'O''Brien'");
    EXPECT_EQ(SqlLiteral(""), "''");
    EXPECT_EQ(SqlLiteral("''"), "''''''");
    EXPECT_EQ(EscapeSqlText("a'b'c"), "a''b''c");
    EXPECT_EQ(QuoteSqlText("x"), "'x'");
    EXPECT_EQ(BracketName("T_Drawing"), "[T_Drawing]");
    // Only the closing quote is doubled; the other quote characters pass as they are.
    EXPECT_EQ(QuoteIdentifier("a]b[c\"", '[', ']'), "[a]]b[c\"]");
    EXPECT_EQ(QuoteIdentifier("a\"b]'c", '"', '"'), "\"a\"\"b]'c\"");
    EXPECT_EQ(QuoteIdentifier("]]", '[', ']'), "[]]]]]");
    EXPECT_EQ(QuoteIdentifier("", '"', '"'), "\"\"");
}

struct LikeCase {
    const char* text;
    const char* pattern;
    bool ignoreCase;
    bool expected;
};

TEST(Like, VbPatterns) {
    const LikeCase cases[] = {
        {"abc", "abc", false, true},
        {"abc", "ABC", false, false},
        {"abc", "ABC", true, true},
        {"abc", "a?c", false, true},
        {"ac", "a?c", false, false},
        {"abc", "*", false, true},
        {"", "*", false, true},
        {"", "?", false, false},
        {"P-101", "P-###", false, true},
        {"P-10A", "P-###", false, false},
        {"x_sp_id", "*sp_*id", true, true},
        {"SP_ID", "*id", true, true},
        {"SP_IDX", "*id", true, false},
        {"b", "[abc]", false, true},
        {"d", "[abc]", false, false},
        {"d", "[!abc]", false, true},
        {"m", "[a-z]", false, true},
        {"M", "[a-z]", false, false},
        {"M", "[a-z]", true, true},
        {"[", "[", false, true},        // an unclosed bracket is literal
        {"a*b", "a[*]b", false, true},  // a bracketed star is literal
        {"äbc", "?bc", false, true},    // one code point, two bytes
        {"abcabcabd", "*abd", false, true},
        {"aaaa", "*a*a*a*a*a", false, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Like(c.text, c.pattern, c.ignoreCase), c.expected)
            << c.text << " like " << c.pattern;
}

TEST(Text, SplitJoinTrimAndCase) {
    EXPECT_TRUE(Split("", ",").empty());
    EXPECT_EQ(Split("a,,b", ","), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(Split("a|||b|||", "|||"), (std::vector<std::string>{"a", "b", ""}));
    EXPECT_EQ(Join({"a", "b"}, "','"), "a','b");
    EXPECT_EQ(TrimBlanks("  a b \t"), "a b \t");
    EXPECT_EQ(TrimSpace(" \r\na b \t"), "a b");
    EXPECT_EQ(ReplaceAllI("-Output x -output:y", "-output", "/output"), "/output x /output:y");
    EXPECT_EQ(IFind("abcDEF", "def"), 3u);
    EXPECT_EQ(StripEnclosingQuotes("\"a b\""), "a b");
    EXPECT_EQ(StripEnclosingQuotes("\""), "\"");
    EXPECT_EQ(StripEnclosingQuotes("\"a"), "\"a");
}

TEST(Text, LeadingNumber) {
    EXPECT_EQ(LeadingNumber("1"), 1);
    EXPECT_EQ(LeadingNumber(" 1abc"), 1);
    EXPECT_EQ(LeadingNumber(""), 0);
    EXPECT_EQ(LeadingNumber("abc"), 0);
    EXPECT_EQ(LeadingNumber("-1"), -1);
}

TEST(StrConcat, SeparatorGoesBetweenItems) {
    CStrConcat s;
    s.SetSeperator(",");
    EXPECT_EQ(s.GetString(), "");
    s.Concat("a");
    s.Concat("");
    s.Concat("c");
    EXPECT_EQ(s.GetString(), "a,,c");
    EXPECT_EQ(s.Length(), 4u);
    EXPECT_EQ(s.Count(), 3u);
}

TEST(Md5, KnownDigests) {
    EXPECT_EQ(CMD5::DigestStrToHexStr(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(CMD5::DigestStrToHexStr("The quick brown fox jumps over the lazy dog"),
              "9e107d9d372bb6826bd81d3542a419d6");
    EXPECT_THROW(CMD5::DigestFileToHexStr("/nonexistent/file"), Error);
}

TEST(Error, SourceChain) {
    struct Case {
        const char* routine;
        int step;
        const char* caught;
        const char* expected;
    } cases[] = {
        {"PID2MDB", 17, "AdoRead", "PID2MDB:17:AdoRead"},
        {"PID2MDB", 0, "AdoRead", "PID2MDB:AdoRead"},
        {"Main", 0, "", "Main"},
        {"Main", 0, "Tarnbrook", "Main"},
    };
    for (const auto& c : cases) EXPECT_EQ(ChainSource(c.routine, c.step, c.caught), c.expected);

    try {
        Trap("Extract", 120,
             [] { Trap("PID2MDB", 17, [] { throw Error(42, "boom", "AdoRead"); }); });
        FAIL();
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), 42);
        EXPECT_EQ(e.description(), "boom");
        EXPECT_EQ(e.source(), "Extract:120:PID2MDB:17:AdoRead");
    }
    try {
        Trap("Load", [] { throw std::runtime_error("disk"); });
        FAIL();
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), kErrInternal);
        EXPECT_EQ(e.source(), "Load");
    }
}

}  // namespace
}  // namespace tb
