#include "store/jet_type.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "common/text.h"
#include "store/sql_functions.h"

namespace tb::store {

namespace {

struct NamedType {
    std::string_view name;
    ColumnType type;
};

// Jet DDL and SQLite type words (upper case, blanks collapsed) without a size.
constexpr NamedType kDeclarations[] = {
    {"TEXT", ColumnType::Text()},         {"VARCHAR", ColumnType::Text()},
    {"NVARCHAR", ColumnType::Text()},     {"CHAR", ColumnType::Text()},
    {"NCHAR", ColumnType::Text()},        {"CHARACTER", ColumnType::Text()},
    {"STRING", ColumnType::Text()},       {"ALPHANUMERIC", ColumnType::Text()},
    {"VARCHAR2", ColumnType::Text()},     {"NVARCHAR2", ColumnType::Text()},
    {"MEMO", ColumnType::Memo()},         {"LONGTEXT", ColumnType::Memo()},
    {"LONGCHAR", ColumnType::Memo()},     {"NOTE", ColumnType::Memo()},
    {"NTEXT", ColumnType::Memo()},        {"CLOB", ColumnType::Memo()},
    {"BYTE", ColumnType::Byte()},         {"TINYINT", ColumnType::Byte()},
    {"INTEGER1", ColumnType::Byte()},     {"SMALLINT", ColumnType::Integer()},
    {"SHORT", ColumnType::Integer()},     {"INTEGER2", ColumnType::Integer()},
    {"INTEGER", ColumnType::Long()},      {"INT", ColumnType::Long()},
    {"LONG", ColumnType::Long()},         {"LONG INTEGER", ColumnType::Long()},
    {"INTEGER4", ColumnType::Long()},     {"BIGINT", ColumnType::Long()},
    {"COUNTER", ColumnType::Counter()},   {"AUTOINCREMENT", ColumnType::Counter()},
    {"SINGLE", ColumnType::Single()},     {"FLOAT4", ColumnType::Single()},
    {"IEEESINGLE", ColumnType::Single()}, {"REAL", ColumnType::Double()},
    {"DOUBLE", ColumnType::Double()},     {"DOUBLE PRECISION", ColumnType::Double()},
    {"FLOAT", ColumnType::Double()},      {"FLOAT8", ColumnType::Double()},
    {"IEEEDOUBLE", ColumnType::Double()}, {"NUMBER", ColumnType::Double()},
    {"NUMERIC", ColumnType::Double()},    {"DECIMAL", ColumnType::Double()},
    {"CURRENCY", ColumnType::Currency()}, {"MONEY", ColumnType::Currency()},
    {"DATETIME", ColumnType::DateTime()}, {"DATE", ColumnType::DateTime()},
    {"TIME", ColumnType::DateTime()},     {"TIMESTAMP", ColumnType::DateTime()},
    {"BIT", ColumnType::Boolean()},       {"YESNO", ColumnType::Boolean()},
    {"LOGICAL", ColumnType::Boolean()},   {"LOGICAL1", ColumnType::Boolean()},
    {"BOOLEAN", ColumnType::Boolean()},   {"OLEOBJECT", ColumnType::OLE()},
    {"LONGBINARY", ColumnType::OLE()},    {"GENERAL", ColumnType::OLE()},
    {"IMAGE", ColumnType::OLE()},         {"BLOB", ColumnType::OLE()},
    {"BINARY", ColumnType::Binary()},     {"VARBINARY", ColumnType::Binary()},
    {"GUID", ColumnType::Guid()},         {"UNIQUEIDENTIFIER", ColumnType::Guid()},
};

bool IsTextual(const ColumnType& t) {
    return t.isText();
}

ColumnType WidestNumber(JetType a, JetType b) {
    if (a == b) return {a, 0, false};
    if (JetFacts(a).numberRank > JetFacts(b).numberRank) std::swap(a, b);  // a is the narrower
    // Boolean is -1/0: a Byte cannot hold it.
    if (a == JetType::Boolean && b == JetType::Byte) return ColumnType::Integer();
    // A Single holds no Long exactly; Currency has no room for a Single's range.
    if (b == JetType::Single && a == JetType::Long) return ColumnType::Double();
    if (b == JetType::Currency && a == JetType::Single) return ColumnType::Double();
    if (b == JetType::Numeric)
        return a == JetType::Numeric ? ColumnType::Numeric() : ColumnType::Double();
    return {b, 0, false};
}

}  // namespace

std::string ColumnType::Name() const {
    if (jet == JetType::Text) return "Text(" + std::to_string(width) + ")";
    if (counter) return jet == JetType::Long ? "Counter" : "Unknown";
    const std::string_view name = JetFacts(jet).name;
    return name.empty() ? "Unknown" : std::string(name);
}

std::optional<ColumnType> ColumnType::FromName(std::string_view name) {
    if (IStartsWith(name, "Text(") && name.back() == ')') {
        int w = 0;
        const auto digits = name.substr(5, name.size() - 6);
        const auto [p, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), w);
        if (ec != std::errc() || p != digits.data() + digits.size() || w < 1 || w > 255)
            return std::nullopt;
        return Text(w);
    }
    if (IEquals(name, "Counter")) return Counter();
    for (const JetTypeFacts& f : kJetTypes)
        if (f.type != JetType::Text && IEquals(f.name, name)) return ColumnType{f.type, 0, false};
    return std::nullopt;
}

std::optional<ColumnType> ColumnType::FromDeclaration(std::string_view declaration) {
    // Words in upper case with single blanks; a "(n)" or "(n,m)" part apart.
    std::string words;
    std::string size;
    bool inParens = false;
    for (char c : declaration) {
        if (c == '(')
            inParens = true;
        else if (c == ')')
            inParens = false;
        else if (inParens)
            size += c;
        else if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            if (!words.empty() && words.back() != ' ') words += ' ';
        } else
            words += static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
    }
    while (!words.empty() && words.back() == ' ') words.pop_back();
    // Only the type words: "TEXT COLLATE X", "INTEGER PRIMARY KEY" and the like keep their head.
    for (std::string_view cut : {" COLLATE", " PRIMARY", " NOT ", " NULL", " CONSTRAINT",
                                 " DEFAULT", " UNIQUE", " REFERENCES", " CHECK"}) {
        const auto at = words.find(cut);
        if (at != std::string::npos) words.erase(at);
    }
    if (words.empty()) return std::nullopt;
    for (const auto& d : kDeclarations) {
        if (d.name != words) continue;
        ColumnType t = d.type;
        if (t.jet == JetType::Text) {
            int w = 0;
            const auto trimmed = TrimSpace(size);
            const auto [p, ec] =
                std::from_chars(trimmed.data(), trimmed.data() + trimmed.size(), w);
            if (ec == std::errc() && w >= 1) t.width = std::min(w, 255);
            if (ec == std::errc() && w > 255) t = Memo();
        }
        return t;
    }
    return std::nullopt;
}

std::string Declaration(const ColumnType& type) {
    if (type.counter) return "INTEGER PRIMARY KEY";
    switch (type.storage()) {
        case Storage::Text:
            return "TEXT COLLATE " + std::string(kTextCollation);
        case Storage::Integer:
            return "INTEGER";
        case Storage::Real:
            return "REAL";
        case Storage::Binary:
            return "BLOB";
    }
    return "BLOB";
}

ColumnType Widest(const ColumnType& in1, const ColumnType& in2) {
    ColumnType a = in1, b = in2;
    a.counter = b.counter = false;  // a copied Counter is a Long
    if (a == b) return a;
    const bool blobA = a.storage() == Storage::Binary, blobB = b.storage() == Storage::Binary;
    if (blobA || blobB) return (blobA && blobB && a.jet == b.jet) ? a : ColumnType::OLE();
    if (a.jet == JetType::Memo || b.jet == JetType::Memo) return ColumnType::Memo();
    if (IsTextual(a) && IsTextual(b)) return ColumnType::Text(std::max(a.width, b.width));
    if (a.isNumber() && b.isNumber()) return WidestNumber(a.jet, b.jet);
    return ColumnType::Text(255);
}

}  // namespace tb::store
