// The helpers that reshape store tables where SQLite's DDL falls short of Jet's: table rebuilds
// for type changes and the counter, SELECT ... INTO with catalogue types, and the join update.

#include <algorithm>
#include <climits>
#include <cstdint>

#include "common/error.h"
#include "common/text.h"
#include "store/access_text.h"
#include "store/compound_select.h"
#include "store/sql_functions.h"
#include "store/store.h"
#include "store/store_internal.h"

namespace tb::store {

namespace {

// What the values of one column are, from one scan of the table.
struct ColumnStats {
    bool text = false, real = false, integer = false, blob = false;
    std::int64_t maxLength = 0;  // characters of the longest text
    std::int64_t minInt = 0, maxInt = 0;
};

std::vector<ColumnStats> Stats(const Store& store, const std::string& table,
                               const std::vector<std::string>& columns) {
    std::vector<ColumnStats> out(columns.size());
    if (columns.empty()) return out;
    std::string sql = "SELECT ";
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::string c = QuoteName(columns[i]);
        if (i) sql += ", ";
        sql += "max(typeof(" + c + ") = 'text'), max(typeof(" + c + ") = 'real'), max(typeof(" + c +
               ") = 'integer'), max(typeof(" + c + ") = 'blob'), max(CASE WHEN typeof(" + c +
               ") = 'text' THEN length(" + c + ") END), min(CASE WHEN typeof(" + c +
               ") = 'integer' THEN " + c + " END), max(CASE WHEN typeof(" + c +
               ") = 'integer' THEN " + c + " END)";
    }
    sql += " FROM " + QuoteName(table);
    const auto rows = store.QueryRows(sql);
    const Row& r = rows.at(0);
    auto flag = [](const Value& v) { return v.isInteger() && v.integer() != 0; };
    auto num = [](const Value& v) { return v.isInteger() ? v.integer() : std::int64_t{0}; };
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::size_t k = i * 7;
        out[i] = {flag(r[k]),    flag(r[k + 1]), flag(r[k + 2]), flag(r[k + 3]),
                  num(r[k + 4]), num(r[k + 5]),  num(r[k + 6])};
    }
    return out;
}

// The type of a column known only from its values (an expression of a SELECT ... INTO).
ColumnType TypeFromData(const ColumnStats& s) {
    if (s.blob) return ColumnType::OLE();
    if (s.text) return s.maxLength > 255 ? ColumnType::Memo() : ColumnType::Text(255);
    if (s.real) return ColumnType::Double();
    if (s.integer)
        return (s.minInt >= INT32_MIN && s.maxInt <= INT32_MAX) ? ColumnType::Long()
                                                                : ColumnType::Double();
    return ColumnType::Text(255);  // nothing but Null
}

// Whether values of type `b` always fit the widest of `a` and `b`: the same type, two Text
// widths, or two number types.
bool SameKind(const ColumnType& a, const ColumnType& b) {
    return a == b || (a.jet == JetType::Text && b.jet == JetType::Text) ||
           (a.isNumber() && b.isNumber());
}

// Whether every value of a catalogued column of type `source` fits the hint `hint`: a text no
// wider, or a number as SQLite writes it into text (at most 24 characters).
bool FitsHint(const ColumnType& hint, const ColumnType& source) {
    if (hint.jet == JetType::Memo) return true;
    if (hint.jet != JetType::Text) return hint == source;
    return (source.jet == JetType::Text && source.width <= hint.width) ||
           (source.isNumber() && hint.width >= 32);
}

// A text column's type widened to hold texts of `length` characters.
ColumnType WidenText(const ColumnType& t, std::int64_t length) {
    if (t.jet != JetType::Text || length <= t.width) return t;
    return length > 255 ? ColumnType::Memo() : ColumnType::Text(static_cast<int>(length));
}

// The expression that turns a column's values into the storage of `type`, as Jet converts them.
std::string ConversionExpression(const std::string& column, const ColumnType& type) {
    const std::string c = QuoteName(column);
    switch (type.storage()) {
        case Storage::Text:
            return "CASE WHEN typeof(" + c + ") IN ('integer', 'real') THEN jcat(" + c +
                   ") ELSE CAST(" + c + " AS TEXT) END";
        case Storage::Binary:
            return "CASE WHEN typeof(" + c + ") IN ('integer', 'real') THEN CAST(jcat(" + c +
                   ") AS BLOB) ELSE CAST(" + c + " AS BLOB) END";
        default:  // the column's affinity turns numeric text into numbers
            return c;
    }
}

std::pair<std::int64_t, std::int64_t> IntegerRange(JetType t) {
    // Any whole number is a Boolean: it has been turned into -1 or 0 before the check.
    if (t == JetType::Boolean) return {INT64_MIN, INT64_MAX};
    const JetTypeFacts& f = JetFacts(t);
    return {f.low, f.high};
}

// "name", "name alias" or "name AS alias": the alias; empty for anything else.
std::string SingleTableAlias(std::string_view source) {
    std::vector<std::string> words;
    for (const std::string& w : Split(std::string(TrimSpace(source)), " "))
        if (!w.empty()) words.push_back(w);
    for (const std::string& w : words)
        if (w.find_first_of(",()") != std::string::npos) return {};
    if (words.size() == 1) return words[0];
    if (words.size() == 2 && !IEquals(words[1], "AS")) return words[1];
    if (words.size() == 3 && IEquals(words[1], "AS")) return words[2];
    return {};
}

// The reverse of an ORDER BY list: every term's direction turned, not only the last one's, so
// that the last row of a join in (a, b) order comes first. Commas inside parentheses or quotes
// belong to their term.
std::string ReversedOrder(std::string_view order) {
    std::vector<std::string> terms(1);
    int depth = 0;
    char quote = 0;
    for (const char ch : order) {
        if (quote) {
            if (ch == quote) quote = 0;
        } else if (ch == '\'' || ch == '"' || ch == '[') {
            quote = ch == '[' ? ']' : ch;
        } else if (ch == '(') {
            ++depth;
        } else if (ch == ')') {
            --depth;
        } else if (ch == ',' && depth == 0) {
            terms.emplace_back();
            continue;
        }
        terms.back() += ch;
    }
    std::string out;
    for (const std::string& raw : terms) {
        std::string term(TrimSpace(raw));
        const std::string upper = ToUpperAscii(term);
        if (upper.size() > 5 && upper.ends_with(" DESC"))
            term = std::string(TrimSpace(term.substr(0, term.size() - 5)));
        else if (upper.size() > 4 && upper.ends_with(" ASC"))
            term = std::string(TrimSpace(term.substr(0, term.size() - 4))) + " DESC";
        else
            term += " DESC";
        out += (out.empty() ? "" : ", ") + term;
    }
    return out;
}

}  // namespace

void Store::Rebuild(const std::string& table, const std::vector<RebuildColumn>& columns) {
    Transaction tx(handle());
    std::vector<std::string> indexSql;
    for (const Row& r :
         QueryRows("SELECT sql FROM sqlite_schema WHERE type = 'index' AND tbl_name = ?1 "
                   "AND sql IS NOT NULL",
                   {table}))
        indexSql.push_back(r[0].text());

    const std::string tmp = std::string(kInternalPrefix) + "rebuild";
    Execute("DROP TABLE IF EXISTS " + QuoteName(tmp));
    std::string create = "CREATE TABLE " + QuoteName(tmp) + " (";
    std::string targets, values;
    bool counterNumbered = false, counterCopied = false;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const RebuildColumn& c = columns[i];
        create += (i ? ", " : "") + QuoteName(c.name) + " " + Declaration(c.type);
        if (c.expression.empty()) {
            counterNumbered = true;  // numbered by SQLite in the order of the copy
            continue;
        }
        if (c.type.counter) counterCopied = true;
        targets += (targets.empty() ? "" : ", ") + QuoteName(c.name);
        values += (values.empty() ? "" : ", ") + c.expression;
    }
    create += ")";
    // Without a counter of its own the copy keeps the rowids: stored order is insertion order.
    if (!counterNumbered && !counterCopied) {
        targets = std::string(kRowid) + ", " + targets;
        values = std::string(kRowid) + ", " + values;
    }
    Execute(create);
    Execute("INSERT INTO " + QuoteName(tmp) + " (" + targets + ") SELECT " + values + " FROM " +
            QuoteName(table) + " ORDER BY " + std::string(kRowid));
    Execute("DROP TABLE " + QuoteName(table));
    Execute("ALTER TABLE " + QuoteName(tmp) + " RENAME TO " + QuoteName(table));
    for (const std::string& sql : indexSql) Execute(sql);
    tx.Commit();
}

void Store::AddCounterId(std::string_view table, std::string_view column) {
    Trap("AddCounterId", [&] {
        const std::string t = RequireTable(table, {});
        CheckAccessName(t, column);
        if (const auto old = FindColumn(t, column))
            Raise("Field '" + *old + "' already exists in table '" + t + "'.");
        const std::vector<ColumnDef> cols = Columns(t);
        for (const ColumnDef& d : cols)
            if (d.type.counter)
                Raise("Table '" + t + "' already has the counter column '" + d.name + "'.");
        CheckColumnCount(t, cols.size() + 1);

        std::vector<RebuildColumn> rebuilt;
        for (const ColumnDef& d : cols) rebuilt.push_back({d.name, d.type, QuoteName(d.name)});
        rebuilt.push_back({std::string(column), ColumnType::Counter(), {}});
        Transaction tx(handle());
        Rebuild(t, rebuilt);
        SetCatalogType(t, column, ColumnType::Counter());
        // The key is the rowid itself: it has no SQLite index of its own.
        ExecuteCount("INSERT OR REPLACE INTO __tb_indexes VALUES(?1, ?2, 0, ?2, '', 1, 1)",
                     {t, column});
        tx.Commit();
    });
}

// Only what FitTypesToData acts on, in one scan: whether a number column holds text or bytes, and
// the longest text of a text column. Far cheaper than the full statistics on a big table.
namespace {
std::vector<ColumnStats> FitStats(const Store& store, const std::string& table,
                                  const std::vector<ColumnDef>& cols) {
    std::vector<ColumnStats> out(cols.size());
    if (cols.empty()) return out;
    std::string sql = "SELECT ";
    for (std::size_t i = 0; i < cols.size(); ++i) {
        const std::string c = QuoteName(cols[i].name);
        const Storage storage = cols[i].type.storage();
        if (i) sql += ", ";
        if (storage == Storage::Integer || storage == Storage::Real)
            sql += "max(typeof(" + c + ") IN ('text', 'blob'))";
        else if (cols[i].type.jet == JetType::Text)
            sql += "max(CASE WHEN typeof(" + c + ") = 'text' THEN length(" + c + ") END)";
        else
            sql += "NULL";
    }
    const auto rows = store.QueryRows(sql + " FROM " + QuoteName(table));
    const Row& r = rows.at(0);
    for (std::size_t i = 0; i < cols.size(); ++i) {
        if (!r[i].isInteger()) continue;
        const Storage storage = cols[i].type.storage();
        if (storage == Storage::Integer || storage == Storage::Real)
            out[i].text = r[i].integer() != 0;
        else
            out[i].maxLength = r[i].integer();
    }
    return out;
}
}  // namespace

void Store::ConvertValues(const std::string& table, const std::vector<ColumnDef>& changes) {
    // One rebuild for every column whose storage changes, then the checks column by column.
    std::vector<ColumnType> olds;
    bool rebuild = false;
    for (const ColumnDef& ch : changes) {
        olds.push_back(TypeOf(table, ch.name));
        rebuild |= olds.back().storage() != ch.type.storage() || olds.back().counter;
    }
    if (rebuild) {
        std::vector<RebuildColumn> rebuilt;
        for (const ColumnDef& d : Columns(table)) {
            const auto ch = std::find_if(changes.begin(), changes.end(),
                                         [&](const ColumnDef& c) { return c.name == d.name; });
            const std::size_t i = static_cast<std::size_t>(ch - changes.begin());
            if (ch != changes.end() && (olds[i].storage() != ch->type.storage() || olds[i].counter))
                rebuilt.push_back({d.name, ch->type, ConversionExpression(d.name, ch->type)});
            else
                rebuilt.push_back({d.name, d.type, QuoteName(d.name)});
        }
        Rebuild(table, rebuilt);
    }
    for (std::size_t i = 0; i < changes.size(); ++i) {
        const std::string& column = changes[i].name;
        const ColumnType& type = changes[i].type;
        const ColumnType& old = olds[i];
        const std::string t = QuoteName(table), c = QuoteName(column);
        const Storage storage = type.storage();
        if (storage == Storage::Integer) {
            Execute("UPDATE " + t + " SET " + c + " = jround(" + c + ") WHERE typeof(" + c +
                    ") = 'real'");
            if (type.jet == JetType::Boolean && old.jet != JetType::Boolean)
                Execute("UPDATE " + t + " SET " + c + " = CASE WHEN " + c +
                        " <> 0 THEN -1 ELSE 0 END WHERE typeof(" + c + ") = 'integer'");
        }
        if (storage == Storage::Integer || storage == Storage::Real) {
            const Value bad = QueryValue("SELECT " + c + " FROM " + t + " WHERE typeof(" + c +
                                         ") NOT IN ('integer', 'real', 'null') LIMIT 1");
            if (!bad.isNull())
                throw Error(kErrTypeMismatch, "Column '" + column + "' of table '" + table +
                                                  "' cannot become " + type.Name() +
                                                  ": the value '" + bad.ToText() +
                                                  "' is not a number.");
        }
        if (storage == Storage::Integer) {
            const auto [lo, hi] = IntegerRange(type.jet);
            const Value bad = QueryValue(
                "SELECT " + c + " FROM " + t + " WHERE " + c + " < ?1 OR " + c + " > ?2 LIMIT 1",
                {lo, hi});
            if (!bad.isNull())
                throw Error(kErrTypeMismatch, "Column '" + column + "' of table '" + table +
                                                  "' cannot become " + type.Name() +
                                                  ": the value " + bad.ToText() +
                                                  " is out of its range.");
        }
        SetCatalogType(table, column, type);
    }
}

void Store::AlterColumnType(std::string_view table, std::string_view column,
                            const ColumnType& type) {
    Trap("AlterColumnType", [&] { ChangeTypes(table, {{std::string(column), type}}); });
}

void Store::AlterColumnTypes(std::string_view table, const std::vector<ColumnDef>& columns) {
    Trap("AlterColumnTypes", [&] { ChangeTypes(table, columns); });
}

void Store::ChangeTypes(std::string_view table, const std::vector<ColumnDef>& columns) {
    const std::string t = RequireTable(table, {});
    std::vector<ColumnDef> converted, texts;
    Transaction tx(handle());
    for (const ColumnDef& want : columns) {
        const std::string c = RequireColumn(t, want.name, {});
        if (want.type.counter)
            throw Error(kErrInternal, "A counter column is made by AddCounterId.");
        const ColumnType old = TypeOf(t, c);
        if (old.storage() == want.type.storage() && !old.counter && !want.type.isNumber())
            SetCatalogType(t, c, want.type);
        else
            converted.push_back({c, want.type});
        if (want.type.jet == JetType::Text) texts.push_back({c, want.type});
    }
    if (!converted.empty()) ConvertValues(t, converted);
    const std::vector<ColumnStats> stats = FitStats(*this, t, texts);
    for (std::size_t i = 0; i < texts.size(); ++i)
        SetCatalogType(t, texts[i].name, WidenText(texts[i].type, stats[i].maxLength));
    tx.Commit();
}

bool Store::FitTypesToData(std::string_view table) {
    return Trap("FitTypesToData", [&] {
        const std::string t = RequireTable(table, {});
        return FitColumns(t, Columns(t));
    });
}

bool Store::FitTypesToData(std::string_view table, const std::vector<std::string>& columns) {
    return Trap("FitTypesToData", [&] {
        const std::string t = RequireTable(table, {});
        std::vector<ColumnDef> chosen;
        for (const ColumnDef& d : Columns(t))
            for (const std::string& c : columns)
                if (CompareIgnoringCase(c, d.name) == 0) {
                    chosen.push_back(d);
                    break;
                }
        return FitColumns(t, chosen);
    });
}

bool Store::FitColumns(const std::string& t, const std::vector<ColumnDef>& cols) {
    if (cols.empty()) return false;
    const std::vector<ColumnStats> stats = FitStats(*this, t, cols);
    Transaction tx(handle());
    // Text arrived where numbers stood (a decode without a type change first): one rebuild.
    std::vector<ColumnDef> toText;
    bool changed = false;
    for (std::size_t i = 0; i < cols.size(); ++i) {
        const ColumnDef& d = cols[i];
        const Storage storage = d.type.storage();
        if ((storage == Storage::Integer || storage == Storage::Real) &&
            (stats[i].text || stats[i].blob)) {
            toText.push_back({d.name, ColumnType::Text(255)});
            changed = true;
        } else if (d.type.jet == JetType::Text && stats[i].maxLength > d.type.width) {
            SetCatalogType(t, d.name, WidenText(d.type, stats[i].maxLength));
            changed = true;
        }
    }
    if (!toText.empty()) {
        ConvertValues(t, toText);
        const std::vector<ColumnStats> texts = FitStats(*this, t, toText);
        for (std::size_t i = 0; i < toText.size(); ++i)
            SetCatalogType(t, toText[i].name, WidenText(ColumnType::Text(255), texts[i].maxLength));
    }
    tx.Commit();
    return changed;
}

void Store::SelectInto(std::string_view select, std::string_view target, const TypeHints& hints) {
    Trap("SelectInto", [&] {
        CheckNewTableName(target, {});
        const std::string tname(target);
        std::vector<std::string> names;
        std::vector<std::optional<ColumnType>> types;
        std::vector<bool> hinted;
        // Columns that copy catalogued columns of one kind in every branch: their values already
        // fit the type, so only the others are scanned afterwards.
        std::vector<bool> copied;
        {
            Statement st(handle(), select);
            const int n = st.ColumnCount();
            if (n == 0) Raise("SelectInto '" + tname + "': the statement returns no columns.");
            CheckColumnCount(tname, static_cast<std::size_t>(n));
            for (int i = 0; i < n; ++i) {
                names.push_back(st.ColumnName(i));
                CheckAccessName(tname, names.back());
                for (int j = 0; j < i; ++j)
                    if (CompareIgnoringCase(names[static_cast<std::size_t>(j)], names.back()) == 0)
                        Raise("Table '" + tname + "' would have the column '" + names.back() +
                              "' twice.");
            }
            types.resize(names.size());
            hinted.resize(names.size());
            copied.assign(names.size(), true);
            for (std::size_t i = 0; i < names.size(); ++i)
                for (const ColumnDef& h : hints)
                    if (CompareIgnoringCase(h.name, names[i]) == 0) {
                        types[i] = h.type;
                        types[i]->counter = false;
                        hinted[i] = true;
                    }

            // The type of each column from the catalogue of the column it comes from, over every
            // branch of every UNION the column passes through.
            auto learn = [&](sqlite3_stmt* s) {
                for (std::size_t i = 0; i < names.size(); ++i) {
                    const int k = static_cast<int>(i);
                    const char* tbl = sqlite3_column_table_name(s, k);
                    const char* col = sqlite3_column_origin_name(s, k);
                    const char* dbName = sqlite3_column_database_name(s, k);
                    std::optional<ColumnType> t;
                    if (tbl && col && dbName && std::string_view(dbName) == "main")
                        t = CatalogType(tbl, col);
                    if (hinted[i]) {
                        if (!t || !FitsHint(*types[i], *t)) copied[i] = false;
                        continue;
                    }
                    if (!t) {
                        copied[i] = false;
                        const char* decl = sqlite3_column_decltype(s, k);
                        if (decl) t = ColumnType::FromDeclaration(decl);
                    }
                    if (!t) continue;
                    t->counter = false;
                    if (types[i] && !SameKind(*types[i], *t)) copied[i] = false;
                    types[i] = types[i] ? Widest(*types[i], *t) : *t;
                }
            };
            learn(st.get());
            const auto variants = CompoundVariants(select);
            bool everyBranch = variants.has_value();
            if (variants) {
                for (const std::string& v : *variants) {
                    try {
                        Statement vs(handle(), v);
                        if (vs.ColumnCount() == n)
                            learn(vs.get());
                        else
                            everyBranch = false;
                    } catch (const Error&) {
                        // A rewritten branch that does not prepare on its own tells nothing.
                        everyBranch = false;
                    }
                }
            }
            if (!everyBranch) copied.assign(names.size(), false);
        }

        Transaction tx(handle());
        ForgetTable(*this, tname);
        std::string create = "CREATE TABLE " + QuoteName(tname) + " (";
        for (std::size_t i = 0; i < names.size(); ++i)
            // A column of unknown type is first declared without affinity, so values arrive as
            // they are; its type is then read from them.
            create += (i ? ", " : "") + QuoteName(names[i]) + " " +
                      (types[i] ? Declaration(*types[i]) : "BLOB");
        Execute(create + ")");
        Execute("INSERT INTO " + QuoteName(tname) + " " + std::string(select));

        std::vector<std::string> unknown;
        std::vector<bool> unknownAtFirst(names.size());
        for (std::size_t i = 0; i < names.size(); ++i)
            if (!types[i]) {
                unknown.push_back(names[i]);
                unknownAtFirst[i] = true;
            }
        if (!unknown.empty()) {
            const std::vector<ColumnStats> stats = Stats(*this, tname, unknown);
            std::vector<RebuildColumn> rebuilt;
            for (std::size_t i = 0, u = 0; i < names.size(); ++i) {
                if (types[i]) {
                    rebuilt.push_back({names[i], *types[i], QuoteName(names[i])});
                } else {
                    types[i] = TypeFromData(stats[u++]);
                    rebuilt.push_back(
                        {names[i], *types[i], ConversionExpression(names[i], *types[i])});
                }
            }
            Rebuild(tname, rebuilt);
        }
        for (std::size_t i = 0; i < names.size(); ++i) SetCatalogType(tname, names[i], *types[i]);
        // Columns typed from their data fit already; hints narrower than their sources, types from
        // a declaration and unions of several kinds may not hold their values.
        std::vector<std::string> toFit;
        for (std::size_t i = 0; i < names.size(); ++i)
            if (!copied[i] && !unknownAtFirst[i]) toFit.push_back(names[i]);
        FitTypesToData(tname, toFit);
        tx.Commit();
    });
}

void Store::AdoptTable(std::string_view table) {
    Trap("AdoptTable", [&] {
        const std::string t = RequireTable(table, {});
        CheckAccessName(t, {});
        struct Col {
            std::string name, declared, collation;
            bool key = false;
            std::optional<ColumnType> type;
        };
        std::vector<Col> cols;
        for (const Row& r :
             QueryRows("SELECT name, type, pk FROM pragma_table_info(?1) ORDER BY cid", {t})) {
            Col c{r[0].text(), r[1].ToText(), {}, r[2].integer() != 0, CatalogType(t, r[0].text())};
            CheckAccessName(t, c.name);
            const char* coll = nullptr;
            if (sqlite3_table_column_metadata(handle(), "main", t.c_str(), c.name.c_str(), nullptr,
                                              &coll, nullptr, nullptr, nullptr) == SQLITE_OK &&
                coll)
                c.collation = coll;
            if (!c.type) c.type = ColumnType::FromDeclaration(c.declared);
            cols.push_back(std::move(c));
        }
        CheckColumnCount(t, cols.size());

        std::vector<std::string> unknown;
        for (const Col& c : cols)
            if (!c.type) unknown.push_back(c.name);
        const std::vector<ColumnStats> stats = Stats(*this, t, unknown);
        bool rebuild = false;
        for (std::size_t i = 0, u = 0; i < cols.size(); ++i) {
            Col& c = cols[i];
            if (!c.type) c.type = TypeFromData(stats[u++]);
            // Declared as the store declares it: the storage word, the collation on text, and a
            // counter that is the rowid.
            const std::string want = Split(Declaration(*c.type), " ")[0];
            if (!IEquals(c.declared, want) || c.key != c.type->counter ||
                (c.type->storage() == Storage::Text && !IEquals(c.collation, kTextCollation)))
                rebuild = true;
        }
        Transaction tx(handle());
        if (rebuild) {
            std::vector<RebuildColumn> rebuilt;
            for (const Col& c : cols)
                rebuilt.push_back(
                    {c.name, *c.type,
                     c.type->counter ? QuoteName(c.name) : ConversionExpression(c.name, *c.type)});
            Rebuild(t, rebuilt);
        }
        for (const Col& c : cols) SetCatalogType(t, c.name, *c.type);
        FitTypesToData(t);
        tx.Commit();
    });
}

std::string UpdateFromJoinSql(const JoinUpdate& u) {
    if (u.set.empty())
        throw Error(kErrInternal, "UpdateFromJoin on '" + u.target + "' sets nothing.");
    const std::string target = QuoteName(u.target);
    const std::string alias = u.targetAlias.empty() ? target : u.targetAlias;
    std::string order = u.order;
    if (order.empty()) {
        const std::string sourceAlias = SingleTableAlias(u.source);
        if (sourceAlias.empty())
            throw Error(kErrInternal, "UpdateFromJoin on '" + u.target +
                                          "': a source of several tables needs its order.");
        order = sourceAlias + "." + std::string(kRowid);
    }
    if (u.oneMatch && !u.leftJoin) {
        // One match at most: SQLite's own UPDATE ... FROM, without ranking the pairs.
        std::string sql =
            "UPDATE " + target + (u.targetAlias.empty() ? "" : " AS " + u.targetAlias) + " SET ";
        for (std::size_t i = 0; i < u.set.size(); ++i)
            sql +=
                (i ? ", " : "") + QuoteName(u.set[i].column) + " = (" + u.set[i].expression + ")";
        sql += " FROM " + u.source + " WHERE (" + u.on + ")";
        if (!u.where.empty()) sql += " AND (" + u.where + ")";
        return sql;
    }
    const std::string m = QuoteName(std::string(kInternalPrefix) + "m");
    std::string sql = "UPDATE " + target + " SET ";
    for (std::size_t i = 0; i < u.set.size(); ++i)
        sql += (i ? ", " : "") + QuoteName(u.set[i].column) + " = " + m + ".v" + std::to_string(i);
    // Every (target row, matching source row) pair, ranked so that the last source row in
    // insertion order comes first; only that one is written.
    sql += " FROM (SELECT " + alias + "." + std::string(kRowid) + " AS target_row";
    for (std::size_t i = 0; i < u.set.size(); ++i)
        sql += ", (" + u.set[i].expression + ") AS v" + std::to_string(i);
    sql += ", row_number() OVER (PARTITION BY " + alias + "." + std::string(kRowid) + " ORDER BY " +
           ReversedOrder(order) + ") AS match_rank FROM " + target;
    if (!u.targetAlias.empty()) sql += " AS " + u.targetAlias;
    if (u.leftJoin) {
        // Parentheses around several tables would hide their rowids: one table or one subquery.
        if (SingleTableAlias(u.source).empty() && TrimSpace(u.source).substr(0, 1) != "(")
            throw Error(kErrInternal,
                        "UpdateFromJoin on '" + u.target +
                            "': a LEFT join takes one table or one subquery as its source.");
        sql += " LEFT JOIN " + u.source + " ON " + u.on;
        if (!u.where.empty()) sql += " WHERE " + u.where;
    } else {
        sql += ", " + u.source + " WHERE (" + u.on + ")";
        if (!u.where.empty()) sql += " AND (" + u.where + ")";
    }
    sql += ") AS " + m + " WHERE " + target + "." + std::string(kRowid) + " = " + m +
           ".target_row AND " + m + ".match_rank = 1";
    return sql;
}

std::int64_t Store::UpdateFromJoin(const JoinUpdate& update) {
    return Trap("UpdateFromJoin", [&] {
        JoinUpdate u = update;
        u.target = RequireTable(update.target, {});
        std::vector<std::string> columns;
        for (Assignment& a : u.set) {
            a.column = RequireColumn(u.target, a.column, {});
            columns.push_back(a.column);
        }
        if (!u.oneMatch && !u.uniqueKeys.empty()) {
            u.oneMatch = true;
            for (const auto& [table, column] : u.uniqueKeys) {
                const std::string t = RequireTable(table, {}),
                                  c = QuoteName(RequireColumn(t, column, {}));
                if (!QueryValue("SELECT 1 FROM " + QuoteName(t) + " WHERE " + c +
                                " IS NOT NULL GROUP BY " + c + " COLLATE " +
                                std::string(kTextCollation) + " HAVING count(*) > 1 LIMIT 1")
                         .isNull())
                    u.oneMatch = false;
            }
        }
        const std::int64_t changed = ExecuteCount(UpdateFromJoinSql(u));
        // The values come from other tables and may be longer (or of another kind) than the
        // target's columns: SelectInto trusts the catalogue of what it copies later.
        if (changed > 0) FitTypesToData(u.target, columns);
        return changed;
    });
}

}  // namespace tb::store
