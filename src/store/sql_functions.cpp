#include "store/sql_functions.h"

#include <cfenv>
#include <cmath>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "common/error.h"
#include "store/access_text.h"

namespace tb::store {

namespace {

constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
constexpr const char* kInvalidCall = "Invalid procedure call or argument";

std::string_view RawText(sqlite3_value* v) {
    if (sqlite3_value_type(v) == SQLITE_BLOB) {
        const auto* p = static_cast<const char*>(sqlite3_value_blob(v));
        return {p ? p : "", static_cast<std::size_t>(sqlite3_value_bytes(v))};
    }
    const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(v));
    return {p ? p : "", static_cast<std::size_t>(sqlite3_value_bytes(v))};
}

// A value as Access turns it into text (numbers as CStr shows them).
std::string AccessText(sqlite3_value* v) {
    switch (sqlite3_value_type(v)) {
        case SQLITE_INTEGER:
            return std::to_string(sqlite3_value_int64(v));
        case SQLITE_FLOAT:
            return FormatAccessNumber(sqlite3_value_double(v));
        case SQLITE_NULL:
            return {};
        default:
            return std::string(RawText(v));
    }
}

// The same for Oracle's CONCAT.
std::string OracleText(sqlite3_value* v) {
    if (sqlite3_value_type(v) == SQLITE_FLOAT) return FormatOracleNumber(sqlite3_value_double(v));
    return AccessText(v);
}

void ResultText(sqlite3_context* ctx, const std::string& text) {
    sqlite3_result_text64(ctx, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

// Reads a whole-number argument. False (and the result set) when the call ends here: Null gives
// Null, a text that is not a number gives an error.
bool IntArg(sqlite3_context* ctx, sqlite3_value* v, std::int64_t& out) {
    switch (sqlite3_value_numeric_type(v)) {
        case SQLITE_NULL:
            sqlite3_result_null(ctx);
            return false;
        case SQLITE_INTEGER:
            out = sqlite3_value_int64(v);
            return true;
        case SQLITE_FLOAT:
            out = std::llrint(sqlite3_value_double(v));
            return true;
        default:
            sqlite3_result_error(ctx, "Type mismatch", -1);
            return false;
    }
}

// Runs a function body; C++ errors become SQL errors, never exceptions through SQLite.
template <class F>
void Guard(sqlite3_context* ctx, F&& body) {
    try {
        body();
    } catch (const std::exception& e) {
        sqlite3_result_error(ctx, e.what(), -1);
    } catch (...) {
        sqlite3_result_error(ctx, "internal error", -1);
    }
}

// Access &: Null counts as "", the result is Null only when every argument is Null.
void Jcat(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    Guard(ctx, [&] {
        std::string out;
        bool any = false;
        for (int i = 0; i < argc; ++i) {
            if (sqlite3_value_type(argv[i]) == SQLITE_NULL) continue;
            any = true;
            out += AccessText(argv[i]);
        }
        if (any)
            ResultText(ctx, out);
        else
            sqlite3_result_null(ctx);
    });
}

// Oracle CONCAT: as jcat, with Oracle's number text.
void Concat(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    Guard(ctx, [&] {
        std::string out;
        bool any = false;
        for (int i = 0; i < argc; ++i) {
            if (sqlite3_value_type(argv[i]) == SQLITE_NULL) continue;
            any = true;
            out += OracleText(argv[i]);
        }
        if (any)
            ResultText(ctx, out);
        else
            sqlite3_result_null(ctx);
    });
}

template <std::string (*Map)(std::string_view)>
void CaseFunction(sqlite3_context* ctx, int, sqlite3_value** argv) {
    Guard(ctx, [&] {
        if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
        ResultText(ctx, Map(AccessText(argv[0])));
    });
}

void Len(sqlite3_context* ctx, int, sqlite3_value** argv) {
    Guard(ctx, [&] {
        if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
        sqlite3_result_int64(ctx, static_cast<sqlite3_int64>(CodePointCount(AccessText(argv[0]))));
    });
}

void Left(sqlite3_context* ctx, int, sqlite3_value** argv) {
    Guard(ctx, [&] {
        if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
        std::int64_t n = 0;
        if (!IntArg(ctx, argv[1], n)) return;
        if (n < 0) return sqlite3_result_error(ctx, kInvalidCall, -1);
        const std::string text = AccessText(argv[0]);
        ResultText(ctx, std::string(CodePointSubstr(text, 0, static_cast<std::size_t>(n))));
    });
}

void Right(sqlite3_context* ctx, int, sqlite3_value** argv) {
    Guard(ctx, [&] {
        if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
        std::int64_t n = 0;
        if (!IntArg(ctx, argv[1], n)) return;
        if (n < 0) return sqlite3_result_error(ctx, kInvalidCall, -1);
        const std::string text = AccessText(argv[0]);
        const std::size_t count = CodePointCount(text);
        const std::size_t take = std::min(count, static_cast<std::size_t>(n));
        ResultText(ctx, std::string(CodePointSubstr(text, count - take)));
    });
}

// mid(text, start[, length]), start counted from 1.
void Mid(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    Guard(ctx, [&] {
        if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
        std::int64_t start = 0, length = -1;
        if (!IntArg(ctx, argv[1], start)) return;
        if (argc == 3 && !IntArg(ctx, argv[2], length)) return;
        if (start < 1 || (argc == 3 && length < 0))
            return sqlite3_result_error(ctx, kInvalidCall, -1);
        const std::string text = AccessText(argv[0]);
        const std::size_t count =
            argc == 3 ? static_cast<std::size_t>(length) : std::string_view::npos;
        ResultText(ctx,
                   std::string(CodePointSubstr(text, static_cast<std::size_t>(start - 1), count)));
    });
}

// nz(value[, ifNull]): without the second argument a Null becomes "".
void Nz(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) != SQLITE_NULL) return sqlite3_result_value(ctx, argv[0]);
    if (argc == 2) return sqlite3_result_value(ctx, argv[1]);
    sqlite3_result_text(ctx, "", 0, SQLITE_STATIC);
}

// VBA Round: halves go to the even neighbour (2.5 -> 2, 3.5 -> 4), at `digits` decimals.
void Jround(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    Guard(ctx, [&] {
        std::int64_t digits = 0;
        if (argc == 2 && !IntArg(ctx, argv[1], digits)) return;
        if (digits < 0) return sqlite3_result_error(ctx, kInvalidCall, -1);
        switch (sqlite3_value_numeric_type(argv[0])) {
            case SQLITE_NULL:
                return sqlite3_result_null(ctx);
            case SQLITE_INTEGER:
                return sqlite3_result_int64(ctx, sqlite3_value_int64(argv[0]));
            case SQLITE_FLOAT:
                break;
            default:
                return sqlite3_result_error(ctx, "Type mismatch", -1);
        }
        const double x = sqlite3_value_double(argv[0]);
        if (digits > 15 || !std::isfinite(x)) return sqlite3_result_double(ctx, x);
        const double scale = std::pow(10.0, static_cast<double>(digits));
        const int oldMode = std::fegetround();
        std::fesetround(FE_TONEAREST);
        const double r = std::nearbyint(x * scale) / scale;
        std::fesetround(oldMode);
        sqlite3_result_double(ctx, r);
    });
}

// Oracle INSTR(text, search, position[, occurrence]): positions in characters from 1; a negative
// position counts from the end and searches backwards. 0 when not found.
void Instr(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    Guard(ctx, [&] {
        for (int i = 0; i < argc; ++i)
            if (sqlite3_value_type(argv[i]) == SQLITE_NULL) return sqlite3_result_null(ctx);
        std::int64_t position = 0, occurrence = 1;
        if (!IntArg(ctx, argv[2], position)) return;
        if (argc == 4 && !IntArg(ctx, argv[3], occurrence)) return;
        if (occurrence < 1) return sqlite3_result_error(ctx, kInvalidCall, -1);
        const std::string text = OracleText(argv[0]);
        const std::string search = OracleText(argv[1]);
        if (search.empty()) return sqlite3_result_null(ctx);  // '' is Null in Oracle
        if (position == 0) return sqlite3_result_int64(ctx, 0);

        // Byte offset of every code point, so matches are found in bytes and told in characters.
        const std::vector<std::size_t> starts = CodePointOffsets(text);
        const auto n = static_cast<std::int64_t>(starts.size());
        auto matchAt = [&](std::int64_t k) {  // k: 0-based character index
            return text.compare(starts[static_cast<std::size_t>(k)], search.size(), search) == 0;
        };
        std::int64_t found = 0;
        if (position > 0) {
            for (std::int64_t k = position - 1; k < n; ++k)
                if (matchAt(k) && ++found == occurrence) return sqlite3_result_int64(ctx, k + 1);
        } else {
            for (std::int64_t k = n + position; k >= 0; --k)
                if (k < n && matchAt(k) && ++found == occurrence)
                    return sqlite3_result_int64(ctx, k + 1);
        }
        sqlite3_result_int64(ctx, 0);
    });
}

// like(pattern, text[, escape]): SQLite hands "text LIKE pattern" over in this order.
void Like(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    Guard(ctx, [&] {
        if (sqlite3_value_type(argv[0]) == SQLITE_NULL ||
            sqlite3_value_type(argv[1]) == SQLITE_NULL)
            return sqlite3_result_null(ctx);
        char32_t escape = 0;
        if (argc == 3) {
            const std::string e = AccessText(argv[2]);
            if (CodePointCount(e) != 1)
                return sqlite3_result_error(ctx, "ESCAPE expression must be a single character",
                                            -1);
            escape = ToCodePoints(e)[0];
        }
        sqlite3_result_int(ctx,
                           LikeMatch(AccessText(argv[0]), AccessText(argv[1]), escape) ? 1 : 0);
    });
}

// The user data is a shared pointer to the texts, released by SQLite with the function.
void Decode(sqlite3_context* ctx, int, sqlite3_value** argv) {
    Guard(ctx, [&] {
        const CodeTexts& texts =
            **static_cast<const std::shared_ptr<const CodeTexts>*>(sqlite3_user_data(ctx));
        sqlite3_value* value = argv[1];
        if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_value(ctx, value);
        if (sqlite3_value_type(value) == SQLITE_BLOB && sqlite3_value_bytes(value) == 0)
            return sqlite3_result_value(ctx, value);
        const auto list = texts.lists.find(std::string(RawText(argv[0])));
        if (list == texts.lists.end()) return sqlite3_result_value(ctx, value);
        const auto code = list->second.find(AccessText(value));
        if (code == list->second.end()) return sqlite3_result_value(ctx, value);
        if (!code->second) return sqlite3_result_null(ctx);
        ResultText(ctx, *code->second);
    });
}

void ReleaseCodeTexts(void* p) {
    delete static_cast<std::shared_ptr<const CodeTexts>*>(p);
}

int Collate(void*, int na, const void* a, int nb, const void* b) {
    const std::string_view sa(static_cast<const char*>(a), static_cast<std::size_t>(na));
    const std::string_view sb(static_cast<const char*>(b), static_cast<std::size_t>(nb));
    try {
        return CompareIgnoringCase(sa, sb);
    } catch (...) {
        return sa.compare(sb);  // ICU unusable: a stable order is better than none
    }
}

void Create(sqlite3* db, const char* name, int nArg,
            void (*fn)(sqlite3_context*, int, sqlite3_value**)) {
    if (sqlite3_create_function_v2(db, name, nArg, kFlags, nullptr, fn, nullptr, nullptr,
                                   nullptr) != SQLITE_OK)
        throw Error(kErrInternal, std::string("Cannot register the SQL function ") + name + ": " +
                                      sqlite3_errmsg(db));
}

}  // namespace

void RegisterFunctions(sqlite3* db) {
    Create(db, "jcat", -1, Jcat);
    Create(db, "concat", -1, Concat);
    Create(db, "lcase", 1, CaseFunction<ToLowerUnicode>);
    Create(db, "ucase", 1, CaseFunction<ToUpperUnicode>);
    Create(db, "len", 1, Len);
    Create(db, "left", 2, Left);
    Create(db, "right", 2, Right);
    Create(db, "mid", 2, Mid);
    Create(db, "mid", 3, Mid);
    Create(db, "nz", 1, Nz);
    Create(db, "nz", 2, Nz);
    Create(db, "jround", 1, Jround);
    Create(db, "jround", 2, Jround);
    Create(db, "instr", 3, Instr);
    Create(db, "instr", 4, Instr);
}

void RegisterDecode(sqlite3* db, std::shared_ptr<const CodeTexts> texts) {
    // SQLite calls ReleaseCodeTexts when the function is replaced or removed, even on failure.
    auto* data = texts ? new std::shared_ptr<const CodeTexts>(std::move(texts)) : nullptr;
    if (sqlite3_create_function_v2(db, "tb_decode", 2, kFlags, data, data ? Decode : nullptr,
                                   nullptr, nullptr,
                                   data ? ReleaseCodeTexts : nullptr) != SQLITE_OK)
        throw Error(kErrInternal, std::string("Cannot register tb_decode: ") + sqlite3_errmsg(db));
}

void RegisterCollation(sqlite3* db) {
    const std::string name(kTextCollation);
    if (sqlite3_create_collation_v2(db, name.c_str(), SQLITE_UTF8, nullptr, Collate, nullptr) !=
        SQLITE_OK)
        throw Error(kErrInternal,
                    "Cannot register the collation " + name + ": " + sqlite3_errmsg(db));
}

void RegisterAccessLike(sqlite3* db) {
    Create(db, "like", 2, Like);
    Create(db, "like", 3, Like);
}

void RegisterStoreSql(sqlite3* db) {
    RegisterFunctions(db);
    RegisterCollation(db);
    RegisterAccessLike(db);
}

}  // namespace tb::store
