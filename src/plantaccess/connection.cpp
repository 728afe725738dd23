#include "plantaccess/connection.h"

#include <charconv>

#include "common/error.h"
#include "common/text.h"

namespace tb::plantaccess {

bool IsMissingTableError(const std::exception& error) {
    const std::string_view text = error.what();
    for (const char* sign : {"no such table", "ORA-00942", "Invalid object name", "42S02"})
        if (IFind(text, sign) != std::string_view::npos) return true;
    return false;
}

bool IsAdoDataTypeString(int type) {
    switch (type) {
        case ado::kBSTR:
        case ado::kChar:
        case ado::kLongVarChar:
        case ado::kLongVarWChar:
        case ado::kVarChar:
        case ado::kVarWChar:
        case ado::kWChar:
        case ado::kGUID:
            return true;
        default:
            return false;
    }
}

bool IsAdoDataTypeNumeric(int type) {
    switch (type) {
        case ado::kCurrency:
        case ado::kDecimal:
        case ado::kDouble:
        case ado::kInteger:
        case ado::kNumeric:
        case ado::kSingle:
        case ado::kSmallInt:
        case ado::kTinyInt:
        case ado::kUnsignedBigInt:
        case ado::kUnsignedInt:
        case ado::kUnsignedSmallInt:
        case ado::kUnsignedTinyInt:
        case ado::kVarNumeric:
            return true;
        default:
            return false;
    }
}

namespace {

struct Declared {
    std::string words;  // upper case, single blanks
    std::vector<int> sizes;
};

Declared ReadDeclaration(std::string_view declaration) {
    Declared d;
    std::string inside;
    bool inParens = false;
    for (char c : declaration) {
        if (c == '(')
            inParens = true;
        else if (c == ')')
            inParens = false;
        else if (inParens)
            inside += c;
        else if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            if (!d.words.empty() && d.words.back() != ' ') d.words += ' ';
        } else
            d.words += static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
    }
    while (!d.words.empty() && d.words.back() == ' ') d.words.pop_back();
    for (const std::string& part : Split(inside, ",")) {
        const auto t = TrimSpace(part);
        int v = 0;
        const auto [p, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
        if (ec != std::errc() || p != t.data() + t.size()) break;
        d.sizes.push_back(v);
    }
    return d;
}

bool OneOf(std::string_view word, std::initializer_list<std::string_view> list) {
    for (std::string_view w : list)
        if (word == w) return true;
    return false;
}

}  // namespace

FieldInfo FieldFromDeclaration(std::string name, std::string_view declaration) {
    FieldInfo f;
    f.name = std::move(name);
    const Declared d = ReadDeclaration(declaration);
    const std::string& w = d.words;
    const int size = d.sizes.empty() ? 0 : d.sizes[0];
    if (OneOf(w, {"VARCHAR", "NVARCHAR", "VARCHAR2", "NVARCHAR2", "CHAR", "NCHAR", "CHARACTER",
                  "TEXT", "STRING", "CHARACTER VARYING", "NATIONAL CHARACTER VARYING"})) {
        f.type = ado::kVarWChar;
        f.definedSize = size;
    } else if (OneOf(w, {"CLOB", "NCLOB", "NTEXT", "LONGTEXT", "MEMO", "LONGCHAR"})) {
        f.type = ado::kLongVarWChar;
    } else if (OneOf(w, {"INTEGER", "INT", "LONG", "MEDIUMINT", "INT4"})) {
        f.type = ado::kInteger;
    } else if (OneOf(w, {"SMALLINT", "INT2", "SHORT"})) {
        f.type = ado::kSmallInt;
    } else if (OneOf(w, {"TINYINT", "BYTE"})) {
        f.type = ado::kTinyInt;
    } else if (OneOf(w, {"BIGINT", "INT8"})) {
        f.type = ado::kBigInt;
    } else if (OneOf(w, {"NUMERIC", "DECIMAL", "NUMBER"})) {
        f.type = w == "DECIMAL" ? ado::kDecimal : ado::kNumeric;
        f.precision = size;
        f.scale = d.sizes.size() > 1 ? d.sizes[1] : 0;
    } else if (OneOf(w, {"FLOAT", "DOUBLE", "DOUBLE PRECISION", "REAL", "FLOAT8"})) {
        f.type = ado::kDouble;
    } else if (OneOf(w, {"SINGLE", "FLOAT4"})) {
        f.type = ado::kSingle;
    } else if (OneOf(w, {"CURRENCY", "MONEY"})) {
        f.type = ado::kCurrency;
    } else if (OneOf(w, {"DATE", "DATETIME", "TIMESTAMP", "SMALLDATETIME", "DATETIME2"})) {
        f.type = ado::kDBTimeStamp;
    } else if (w == "TIME") {
        f.type = ado::kDBTime;
    } else if (OneOf(w, {"BIT", "BOOLEAN", "YESNO", "LOGICAL"})) {
        f.type = ado::kBoolean;
    } else if (OneOf(w, {"GUID", "UNIQUEIDENTIFIER"})) {
        f.type = ado::kGUID;
    } else if (OneOf(w, {"BINARY", "VARBINARY"})) {
        f.type = ado::kVarBinary;
        f.definedSize = size;
    } else if (OneOf(w, {"BLOB", "IMAGE", "LONGBINARY", "OLEOBJECT"})) {
        f.type = ado::kLongVarBinary;
    }
    return f;
}

store::Value ToValue(const Cell& cell) {
    switch (cell.kind) {
        case CellKind::Null:
            return {};
        case CellKind::Integer:
            return store::Value(cell.integer);
        case CellKind::Real:
            return store::Value(cell.real);
        case CellKind::Text:
            return store::Value(std::string(cell.bytes));
        case CellKind::Blob:
            return store::Value(store::Blob(cell.bytes.begin(), cell.bytes.end()));
    }
    return {};
}

std::unique_ptr<RowCursor> Connection::Query(std::string_view sql, const store::Row& params) {
    auto cursor = Run(sql, params, nullptr);
    if (!cursor) throw Error(kErrInternal, "The statement gave no rows: " + std::string(sql));
    return cursor;
}

std::int64_t Connection::Execute(std::string_view sql, const store::Row& params) {
    std::int64_t affected = -1;
    Run(sql, params, &affected);
    return affected;
}

}  // namespace tb::plantaccess
