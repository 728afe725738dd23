// The limits Access sets, refused with messages that name the table, the column and the value.

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>

#include "common/error.h"
#include "mdb/date_time.h"
#include "mdb/jet_test_support.h"
#include "mdb/page_file.h"
#include "support/test_support.h"

namespace tb::mdb::test {
namespace {

using tb::test::TempDir;

struct Refusal {
    std::string what;
    std::vector<TableData> tables;
    std::vector<std::string> message;  // parts the message must hold
};

TableData One(const std::string& table, Column column, Value value) {
    TableData t{{table, {std::move(column)}}, {}};
    t.rows.push_back({std::move(value)});
    return t;
}

std::vector<Column> Columns(int n) {
    std::vector<Column> c;
    for (int i = 0; i < n; ++i) c.push_back({"C" + std::to_string(i), JetType::Byte});
    return c;
}

std::vector<Refusal> Refusals() {
    const std::string long65(65, 'n');
    const double nan = std::numeric_limits<double>::quiet_NaN();
    return {
        {"table name over 64", {{{long65, {{"A", JetType::Long}}}, {}}}, {long65, "at most 64"}},
        {"table name with a dot", {{{"a.b", {{"A", JetType::Long}}}, {}}}, {"\"a.b\"", "'.'"}},
        {"table name with !", {{{"a!b", {{"A", JetType::Long}}}, {}}}, {"\"a!b\"", "'!'"}},
        {"table name with [", {{{"[x", {{"A", JetType::Long}}}, {}}}, {"\"[x\"", "'['"}},
        {"table name with ]", {{{"x]", {{"A", JetType::Long}}}, {}}}, {"\"x]\"", "']'"}},
        {"table name starting blank", {{{" x", {{"A", JetType::Long}}}, {}}}, {"\" x\"", "blank"}},
        {"table name with a tab", {{{"a\tb", {{"A", JetType::Long}}}, {}}}, {"control character"}},
        {"empty table name", {{{"", {{"A", JetType::Long}}}, {}}}, {"empty"}},
        {"column name over 64",
         {{{"T", {{long65, JetType::Long}}}, {}}},
         {"\"T\"", long65, "at most 64"}},
        {"column name with ]", {{{"T", {{"a]", JetType::Long}}}, {}}}, {"\"T\"", "\"a]\"", "']'"}},
        {"two columns alike",
         {{{"T", {{"Name", JetType::Long}, {"NAME", JetType::Text}}}, {}}},
         {"\"T\"", "two columns named \"NAME\""}},
        {"256 columns", {{{"T", Columns(256)}, {}}}, {"\"T\"", "256 columns", "at most 255"}},
        {"no columns", {{{"T", {}}, {}}}, {"\"T\"", "no columns"}},
        {"Text(256)", {{{"T", {{"A", JetType::Text, 256}}}, {}}}, {"\"A\"", "Text(256)", "Memo"}},
        {"Text(0)", {{{"T", {{"A", JetType::Text, 0}}}, {}}}, {"\"A\"", "Text(0)"}},
        {"Decimal",
         {{{"T", {{"A", JetType::Numeric}}}, {}}},
         {"\"A\"", "Decimal", "does not support"}},
        {"counter on text",
         {{{"T", {{"A", JetType::Text, 10, true}}}, {}}},
         {"\"A\"", "auto-number"}},
        {"same table twice",
         {{{"People", {{"A", JetType::Long}}}, {}}, {{"PEOPLE", {{"A", JetType::Long}}}, {}}},
         {"already has a table named \"PEOPLE\""}},
        {"a system table's name",
         {{{"msysobjects", {{"A", JetType::Long}}}, {}}},
         {"\"msysobjects\""}},
        {"table name beyond Latin-1",
         {{{"Таблица", {{"A", JetType::Long}}}, {}}},
         {"\"Таблица\"", "Latin-1"}},
        {"text longer than its column",
         {One("T", {"A", JetType::Text, 5}, std::string("123456"))},
         {"\"T\"", "\"A\"", "'123456'", "6 characters", "5"}},
        {"a surrogate pair counts two",
         {One("T", {"A", JetType::Text, 1}, std::string("😀"))},
         {"\"A\"", "2 characters"}},
        {"text not UTF-8",
         {One("T", {"A", JetType::Text, 5}, std::string("\xC3("))},
         {"\"A\"", "UTF-8"}},
        {"memo not UTF-8",
         {One("T", {"A", JetType::Memo}, std::string("\xFF"))},
         {"\"A\"", "UTF-8"}},
        {"byte 256",
         {One("T", {"A", JetType::Byte}, std::int64_t{256})},
         {"\"A\"", "256", "0 to 255"}},
        {"byte -1", {One("T", {"A", JetType::Byte}, std::int64_t{-1})}, {"\"A\"", "-1"}},
        {"integer 32768",
         {One("T", {"A", JetType::Integer}, std::int64_t{32768})},
         {"32768", "-32768 to 32767"}},
        {"long 2^31", {One("T", {"A", JetType::Long}, std::int64_t{2147483648LL})}, {"2147483648"}},
        {"long with a fraction",
         {One("T", {"A", JetType::Long}, 1.5)},
         {"\"A\"", "1.5", "whole number"}},
        {"long from text",
         {One("T", {"A", JetType::Long}, std::string("7"))},
         {"'7'", "whole number"}},
        {"currency too large",
         {One("T", {"A", JetType::Currency}, std::int64_t{1} << 60)},
         {"\"A\"", "Currency"}},
        {"currency double too large",
         {One("T", {"A", JetType::Currency}, 1e15)},
         {"\"A\"", "Currency"}},
        {"single too large", {One("T", {"A", JetType::Single}, 1e39)}, {"\"A\"", "Single"}},
        {"double NaN", {One("T", {"A", JetType::Double}, nan)}, {"\"A\"", "finite"}},
        {"date text wrong",
         {One("T", {"A", JetType::DateTime}, std::string("2024-02-30"))},
         {"\"A\"", "2024-02-30"}},
        {"date too late",
         {One("T", {"A", JetType::DateTime}, DateTime{3e6})},
         {"\"A\"", "outside"}},
        {"guid from a number",
         {One("T", {"A", JetType::GUID}, std::int64_t{1})},
         {"\"A\"", "GUID"}},
        {"binary too long", {One("T", {"A", JetType::Binary, 4}, Bytes(5))}, {"\"A\"", "5 bytes"}},
        {"OLE from a number",
         {One("T", {"A", JetType::OLE}, std::int64_t{1})},
         {"\"A\"", "binary"}},
        {"boolean from text",
         {One("T", {"A", JetType::Boolean}, std::string("yes"))},
         {"\"A\"", "Boolean"}},
        {"too few values",
         {{{"T", {{"A", JetType::Long}, {"B", JetType::Long}}}, {{std::int64_t{1}}}}},
         {"\"T\"", "row 1", "1 values for 2 columns"}},
    };
}

TEST(JetLimits, AreRefusedWithMessagesNamingTableColumnAndValue) {
    for (const Refusal& r : Refusals()) {
        SCOPED_TRACE(r.what);
        TempDir dir;
        try {
            WriteDatabase(dir / "x.mdb", r.tables);
            ADD_FAILURE() << "accepted";
        } catch (const Error& e) {
            for (const std::string& part : r.message) {
                EXPECT_NE(e.description().find(part), std::string::npos)
                    << e.description() << "\nlacks: " << part;
            }
        }
        EXPECT_FALSE(fs::exists(dir / "x.mdb"));
    }
}

// Restores the C locale when the test ends.
struct GermanLocale {
    bool active = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    ~GermanLocale() { std::setlocale(LC_ALL, "C"); }
};

TEST(JetLimits, MessagesAndFilesDoNotDependOnTheLocale) {
    TempDir dir;
    WriteDatabase(dir / "c.mdb", {One("T", {"A", JetType::Double}, 1.5)});
    GermanLocale german;
    if (!german.active) GTEST_SKIP() << "locale de_DE.UTF-8 is not installed";
    try {
        WriteDatabase(dir / "x.mdb", {One("T", {"A", JetType::Long}, 1.5)});
        FAIL() << "accepted";
    } catch (const Error& e) {
        EXPECT_NE(e.description().find("1.5"), std::string::npos) << e.description();
    }
    WriteDatabase(dir / "g.mdb", {One("T", {"A", JetType::Double}, 1.5)});
    EXPECT_TRUE(ReadBytes(dir / "g.mdb") == ReadBytes(dir / "c.mdb"));
}

TEST(JetLimits, TheLargestValuesOfEachKindAreAccepted) {
    // Written without an error, and sound (WriteDatabase runs the structure checker).
    TempDir dir;
    const std::string long64(64, 'n');
    std::vector<Column> wide = Columns(255);
    WriteDatabase(dir / "x.mdb",
                  {{{long64, {{long64, JetType::Text, 255}}}, {{std::string(255, 'x')}}},
                   {{"Wide", wide}, {}},
                   {{"Names", {{"Weird but fine #1 (äö) - it's OK", JetType::Long}}}, {}}});
}

TEST(JetLimits, TheFileStopsAt2GB) {
    // A small stand-in limit: the 2 GB check itself, and the message naming what was written.
    TempDir dir;
    PageFile file(dir / "x.mdb", 3);
    file.SetContext("table \"Big\"");
    for (int i = 0; i < 3; ++i) file.Allocate();
    try {
        file.Allocate();
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_NE(e.description().find("2 GB"), std::string::npos) << e.description();
        EXPECT_NE(e.description().find("table \"Big\""), std::string::npos) << e.description();
    }
}

struct DateText {
    std::string text;
    double days;  // NaN: refused
};

TEST(JetDates, TextConvertsExactlyBothWays) {
    const double no = std::nan("");
    const std::vector<DateText> cases = {
        {"1899-12-30 00:00:00", 0},
        {"1899-12-30", 0},
        {"1899-12-31 12:00:00", 1.5},
        {"1899-12-29 06:00:00", -1.25},
        {"1900-01-01 00:00:01", 2 + 1.0 / 86400},
        {"2024-02-29 23:59:59", 45351 + 86399.0 / 86400},
        {"0100-01-01 00:00:00", -657434},
        {"9999-12-31 23:59:59", 2958465 + 86399.0 / 86400},
        {"2024-02-30", no},
        {"2023-02-29", no},
        {"24-01-01", no},
        {"2024-1-01", no},
        {"2024-01-01T10:00:00", no},
        {"2024-01-01 24:00:00", no},
        {"2024-01-01 10:60:00", no},
        {"2024-01-01 10:00", no},
        {"2024-01-01 ", no},
        {"0099-12-31", no},
        {"", no},
    };
    for (const DateText& c : cases) {
        SCOPED_TRACE(c.text);
        if (std::isnan(c.days)) {
            EXPECT_THROW(DateTimeFromText(c.text), Error);
            continue;
        }
        EXPECT_DOUBLE_EQ(DateTimeFromText(c.text).days, c.days);
        const std::string full = c.text.size() == 10 ? c.text + " 00:00:00" : c.text;
        EXPECT_EQ(DateTimeToText(DateTime{c.days}), full);
    }
    // Every second of a day, either side of the epoch, comes back as the same text.
    for (int s = 0; s < 86400; s += 7) {
        for (const char* day : {"1899-12-28", "1899-12-30", "2024-06-15"}) {
            char text[32];
            std::snprintf(text, sizeof text, "%s %02d:%02d:%02d", day, s / 3600, s / 60 % 60,
                          s % 60);
            ASSERT_EQ(DateTimeToText(DateTimeFromText(text)), text);
        }
    }
    // A value a hair below midnight rounds into the next day.
    EXPECT_EQ(DateTimeToText(DateTime{0.9999999999}), "1899-12-31 00:00:00");
    EXPECT_EQ(DateTimeToText(DateTime{-1.9999999999}), "1899-12-30 00:00:00");
}

}  // namespace
}  // namespace tb::mdb::test
