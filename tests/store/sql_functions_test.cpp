// The registered functions and the LIKE, through SQL as the run's statements call them.

#include "store/sql_functions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/access_text.h"
#include "store/store.h"
#include "store_test_util.h"

namespace tb::store::test {
namespace {

struct Expr {
    const char* sql;
    const char* expected;  // rendered; "error: ..." for an SQL error
};

std::string Eval(const Store& s, const std::string& expr) {
    try {
        return Render(s, "SELECT " + expr);
    } catch (const Error& e) {
        return "error: " + e.description().substr(0, e.description().find(" (statement"));
    }
}

TEST(SqlFunctions, TableOfCalls) {
    const std::vector<Expr> cases = {
        // Access text of numbers, also inside other functions.
        {"jcat(2.50, '|', -0.0, '|', 123456789012345.0, '|', 1e15, '|', 0.0001)",
         "2.5|0|123456789012345|1E+15|0.0001"},
        {"jcat(x'414243')", "ABC"},
        {"lcase('ÄÖÜ ẞ Ω'), ucase('straße'), lcase(NULL) IS NULL, ucase(1.0)",
         "äöü ß ω|STRASSE|1|1"},
        {"len('Weiß'), len(123), len(2.0), len(''), len(NULL) IS NULL", "4|3|1|0|1"},
        // LEFT and RIGHT are join keywords to SQLite: the calls quote the names.
        {"\"left\"('Ärger', 2), [left]('ab', 5), \"left\"(12.5, 2), \"left\"(NULL, 1) IS NULL",
         "Är|ab|12|1"},
        {"\"right\"('Ärger', 3), \"right\"('ab', 5), \"right\"('ab', 0)", "ger|ab|"},
        {"mid('Ärgernis', 2, 3), mid('Ärgernis', 6), mid('ab', 9)", "rge|nis|"},
        {"\"left\"('x', -1)", "error: Invalid procedure call or argument"},
        {"mid('x', 0)", "error: Invalid procedure call or argument"},
        {"nz(NULL), nz(NULL, 5), nz(0, 5), nz('', 'x')", "|5|0|"},
        // VBA Round: halves to the even neighbour.
        {"jround(2.5), jround(3.5), jround(-2.5), jround(0.125, 2), jround(2.6), jround(7), "
         "jround('4.5')",
         "2|4|-2|0.12|3|7|4"},
        {"jround(NULL) IS NULL, jround(1.23456, 3)", "1|1.235"},
        {"jround(1, -1)", "error: Invalid procedure call or argument"},
        // Oracle forms: CONCAT and INSTR with a start and an occurrence.
        {"concat('a', NULL), concat(NULL, NULL) IS NULL, concat(3, ''), concat(0.5, ''), "
         "concat(-0.25, '')",
         "a|1|3|.5|-.25"},
        {"instr('a\\b\\c.sym', '\\', -1), instr('a\\b\\c', '\\', 1), instr('abcabc', 'bc', -1)",
         "4|2|5"},
        {"instr('abcabc', 'bc', 3), instr('abcabc', 'bc', 1, 2), instr('abc', 'x', 1), "
         "instr('abc', 'b', 0)",
         "5|5|0|0"},
        {"instr('Ärger', 'g', 1), instr('ab', '', 1) IS NULL, instr(NULL, 'a', 1) IS NULL",
         "3|1|1"},
        {"instr('abc', 'B', 1)", "0"},  // case matters, as in Oracle
        {"instr('abc', 'b')", "2"},     // SQLite's own two-argument form stays
    };
    Store s = Store::InMemory();
    for (const Expr& c : cases) EXPECT_EQ(Eval(s, c.sql), c.expected) << c.sql;
}

TEST(SqlFunctions, LikeAsJet) {
    struct L {
        const char* text;
        const char* pattern;
        bool match;
    };
    const std::vector<L> cases = {
        {"PID-001.pid", "pid-%", true},
        {"Ärger", "är%", true},
        {"ÄRGER", "_rger", true},
        {"abc", "a_", false},
        {"abc", "%c", true},
        {"abc", "%b", false},
        {"a1", "a[0-9]", true},
        {"ab", "a[0-9]", false},
        {"ab", "a[!0-9]", true},
        {"a1", "a[^0-9]", false},
        {"a[b", "a[b", true},
        {"A", "[abc]", true},
        {"x%y", "x\\%y", true},
        {"xzy", "x\\%y", false},
        {"", "%", true},
        {"", "_", false},
        {"mississippi", "%ss%ss%pi", true},
        {"mississippi", "%ss%ss%ss%", false},
    };
    Store s = Store::InMemory();
    for (const L& c : cases) {
        const Value v = s.QueryValue("SELECT ?1 LIKE ?2 ESCAPE '\\'", {c.text, c.pattern});
        EXPECT_EQ(v.integer() == 1, c.match) << c.text << " LIKE " << c.pattern;
    }
    EXPECT_TRUE(s.QueryValue("SELECT 12 LIKE '1_'").integer());
    EXPECT_TRUE(s.QueryValue("SELECT NULL LIKE 'a'").isNull());
}

TEST(SqlFunctions, CollationOrderIsConsistent) {
    // The ASCII shortcut and the ICU path must agree, or indexes and sorts go wrong.
    const std::vector<std::string> words = {"a",  "A", "ab", "Ab", "B",   "b",   "é", "É", "e",
                                            "ss", "ß", "SS", "aß", "aSS", "ass", "",  "z", "Z",
                                            "ä",  "Ä", "az", "aä", "aÄb", "K",   "K", "k", "~"};
    for (const auto& a : words)
        for (const auto& b : words) {
            const int ab = CompareIgnoringCase(a, b), ba = CompareIgnoringCase(b, a);
            EXPECT_EQ(ab, -ba) << a << " / " << b;
            EXPECT_EQ(ab, FoldCase(a).compare(FoldCase(b)) < 0
                              ? -1
                              : (FoldCase(a) == FoldCase(b) ? 0 : 1))
                << a << " / " << b;
        }
    EXPECT_EQ(CompareIgnoringCase("K", "k"), 0);  // Kelvin sign folds to k
    EXPECT_EQ(CompareIgnoringCase("Straße", "STRASSE"), 0);
}

TEST(SqlFunctions, NumberText) {
    const std::vector<std::pair<double, const char*>> access = {
        {3.0, "3"},
        {-3.0, "-3"},
        {0.5, "0.5"},
        {1e20, "1E+20"},
        {1e15, "1E+15"},
        {1e14, "100000000000000"},
        {1e-5, "1E-05"},
        {0.0001, "0.0001"},
        {1.0 / 3, "0.333333333333333"},
        {-1.5e-7, "-1.5E-07"},
        {123.456, "123.456"},
    };
    for (const auto& [v, text] : access) EXPECT_EQ(FormatAccessNumber(v), text) << v;
    const std::vector<std::pair<double, const char*>> oracle = {
        {3.0, "3"}, {0.5, ".5"}, {-0.5, "-.5"}, {1e20, "100000000000000000000"}, {12.25, "12.25"},
    };
    for (const auto& [v, text] : oracle) EXPECT_EQ(FormatOracleNumber(v), text) << v;
}

TEST(SqlFunctions, PlantConnectionGetsFunctionsButNotTheStoreLike) {
    // A plant connection stands for Oracle: the functions are there, LIKE keeps SQLite's meaning.
    Connection plant(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    RegisterFunctions(plant.get());
    EXPECT_EQ(QueryValue(plant.get(), "SELECT concat(lcase('ÄB'), 1)").text(), "äb1");
    EXPECT_EQ(QueryValue(plant.get(), "SELECT 'ä' LIKE 'Ä'").integer(), 0);
}

}  // namespace
}  // namespace tb::store::test
