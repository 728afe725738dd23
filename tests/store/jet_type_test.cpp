// Catalogue types: reading Jet DDL names, the widest type of a UNION, and the rewriting that lets
// SQLite report every branch.

#include "store/jet_type.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/compound_select.h"

namespace tb::store {
namespace {

TEST(JetType, FromDeclaration) {
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"varchar(33)", "Text(33)"},
        {"TEXT(40)", "Text(40)"},
        {"Text", "Text(255)"},
        {"VARCHAR (300)", "Memo"},
        {"Memo", "Memo"},
        {"LONGTEXT", "Memo"},
        {"LONG INTEGER", "Long"},
        {"long  integer", "Long"},
        {"Integer", "Long"},
        {"SMALLINT", "Integer"},
        {"BYTE", "Byte"},
        {"COUNTER", "Counter"},
        {"TIMESTAMP", "DateTime"},
        {"DATETIME", "DateTime"},
        {"YESNO", "Boolean"},
        {"BIT", "Boolean"},
        {"OLEOBJECT", "OLE"},
        {"LONGBINARY", "OLE"},
        {"DOUBLE", "Double"},
        {"REAL", "Double"},
        {"SINGLE", "Single"},
        {"CURRENCY", "Currency"},
        {"GUID", "GUID"},
        {"NUMERIC(10,2)", "Double"},
        {"TEXT COLLATE JETNOCASE", "Text(255)"},
        {"INTEGER PRIMARY KEY", "Long"},
    };
    for (const auto& [decl, name] : cases) {
        const auto t = ColumnType::FromDeclaration(decl);
        ASSERT_TRUE(t.has_value()) << decl;
        EXPECT_EQ(t->Name(), name) << decl;
        EXPECT_EQ(ColumnType::FromName(name), *t) << name;  // the catalogue name reads back
    }
    EXPECT_FALSE(ColumnType::FromDeclaration("").has_value());
    EXPECT_FALSE(ColumnType::FromDeclaration("WIDGET").has_value());
    EXPECT_FALSE(ColumnType::FromName("Text(0)").has_value());
    EXPECT_FALSE(ColumnType::FromName("Text(256)").has_value());
}

TEST(JetType, EveryCatalogueNameReadsBack) {
    for (const JetTypeFacts& f : kJetTypes) {
        const ColumnType t = f.type == JetType::Text ? ColumnType::Text(40) : ColumnType{f.type, 0};
        EXPECT_EQ(ColumnType::FromName(t.Name()), t) << t.Name();
    }
    EXPECT_EQ(ColumnType::FromName(ColumnType::Counter().Name()), ColumnType::Counter());
}

TEST(JetType, Storage) {
    EXPECT_EQ(Declaration(ColumnType::Text(10)), "TEXT COLLATE JETNOCASE");
    EXPECT_EQ(Declaration(ColumnType::DateTime()), "TEXT COLLATE JETNOCASE");  // dates are text
    EXPECT_EQ(Declaration(ColumnType::Boolean()), "INTEGER");
    EXPECT_EQ(Declaration(ColumnType::Currency()), "REAL");
    EXPECT_EQ(Declaration(ColumnType::OLE()), "BLOB");
    EXPECT_EQ(Declaration(ColumnType::Counter()), "INTEGER PRIMARY KEY");
}

TEST(JetType, Widest) {
    struct W {
        ColumnType a, b;
        const char* widest;
    };
    const std::vector<W> cases = {
        {ColumnType::Text(10), ColumnType::Text(40), "Text(40)"},
        {ColumnType::Text(10), ColumnType::Memo(), "Memo"},
        {ColumnType::Text(10), ColumnType::Long(), "Text(255)"},
        {ColumnType::DateTime(), ColumnType::Text(20), "Text(255)"},
        {ColumnType::Byte(), ColumnType::Integer(), "Integer"},
        {ColumnType::Boolean(), ColumnType::Byte(), "Integer"},
        {ColumnType::Long(), ColumnType::Single(), "Double"},
        {ColumnType::Integer(), ColumnType::Single(), "Single"},
        {ColumnType::Long(), ColumnType::Currency(), "Currency"},
        {ColumnType::Single(), ColumnType::Currency(), "Double"},
        {ColumnType::Counter(), ColumnType::Long(), "Long"},
        {ColumnType::Counter(), ColumnType::Counter(), "Long"},
        {ColumnType::OLE(), ColumnType::Text(5), "OLE"},
        {ColumnType::DateTime(), ColumnType::DateTime(), "DateTime"},
    };
    for (const W& w : cases) {
        EXPECT_EQ(Widest(w.a, w.b).Name(), w.widest) << w.a.Name() << " + " << w.b.Name();
        EXPECT_EQ(Widest(w.b, w.a).Name(), w.widest) << w.b.Name() << " + " << w.a.Name();
    }
}

// Blanks do not matter to a statement that is only prepared.
std::string Squeeze(const std::string& s) {
    std::string out;
    for (char c : s) {
        if (c == ' ' && (out.empty() || out.back() == ' ' || out.back() == '(')) continue;
        if (c == ')' && !out.empty() && out.back() == ' ') out.pop_back();
        out += c;
    }
    while (!out.empty() && out.back() == ' ') out.pop_back();
    return out;
}

TEST(CompoundSelect, Variants) {
    struct V {
        const char* sql;
        std::vector<std::string> variants;
    };
    const std::vector<V> cases = {
        {"SELECT a FROM t", {}},
        {"SELECT a FROM t1 UNION SELECT b FROM t2 ORDER BY 1",
         {"SELECT a FROM t1", "SELECT b FROM t2"}},
        {"SELECT * FROM (SELECT a FROM t1 UNION ALL SELECT b FROM t2) AS u",
         {"SELECT * FROM (SELECT a FROM t1) AS u",
          "SELECT * FROM (SELECT a FROM t1 UNION ALL SELECT b FROM t2) AS u"}},
        // Keywords inside strings, quoted names and comments are no operators.
        {"SELECT 'x union y', \"union\", [union] FROM t -- union\n", {}},
        // Two compounds: every combination.
        {"SELECT a FROM t1 UNION SELECT x FROM (SELECT b AS x FROM t2 EXCEPT SELECT c FROM t3)",
         {"SELECT a FROM t1", "SELECT x FROM (SELECT b AS x FROM t2)", "SELECT a FROM t1",
          "SELECT x FROM (SELECT b AS x FROM t2 UNION ALL SELECT c FROM t3)"}},
    };
    for (const V& c : cases) {
        const auto v = CompoundVariants(c.sql);
        ASSERT_TRUE(v.has_value()) << c.sql;
        std::vector<std::string> got;
        for (const std::string& text : *v) got.push_back(Squeeze(text));
        EXPECT_EQ(got, c.variants) << c.sql;
    }
    EXPECT_FALSE(CompoundVariants("SELECT (a FROM t").has_value());  // unbalanced
    EXPECT_FALSE(CompoundVariants("SELECT 1 UNION SELECT 2 UNION SELECT 3", 2).has_value());
}

}  // namespace
}  // namespace tb::store
