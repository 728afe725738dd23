#include "extraction/access_sql.h"

#include <vector>

#include "common/text.h"

namespace tb::extraction {
namespace {

enum class Kind { Word, Text, Bracket, Number, Symbol, Open, Close, Space };

struct Token {
    Kind kind;
    std::string text;
};

bool IsWordChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$' || static_cast<unsigned char>(c) >= 0x80;
}

std::vector<Token> Tokenize(std::string_view sql) {
    std::vector<Token> out;
    std::size_t i = 0;
    while (i < sql.size()) {
        const char c = sql[i];
        std::size_t j = i + 1;
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            while (j < sql.size() &&
                   (sql[j] == ' ' || sql[j] == '\t' || sql[j] == '\r' || sql[j] == '\n'))
                ++j;
            out.push_back({Kind::Space, " "});
        } else if (c == '\'' || c == '"') {
            // A quoted text; a doubled quote stands for itself. Both become '...' literals.
            std::string value;
            while (j < sql.size()) {
                if (sql[j] == c) {
                    if (j + 1 < sql.size() && sql[j + 1] == c) {
                        value += c;
                        j += 2;
                        continue;
                    }
                    ++j;
                    break;
                }
                value += sql[j++];
            }
            out.push_back({Kind::Text, SqlLiteral(value)});
        } else if (c == '#') {
            // An Access date literal #yyyy-mm-dd# or #m/d/yyyy#: dates are text in the store.
            const auto close = sql.find('#', j);
            if (close == std::string_view::npos) {
                out.push_back({Kind::Symbol, "#"});
            } else {
                out.push_back({Kind::Text, SqlLiteral(sql.substr(j, close - j))});
                j = close + 1;
            }
        } else if (c == '[') {
            const auto close = sql.find(']', j);
            j = close == std::string_view::npos ? sql.size() : close + 1;
            out.push_back({Kind::Bracket, std::string(sql.substr(i, j - i))});
        } else if (c >= '0' && c <= '9') {
            while (j < sql.size() && (IsWordChar(sql[j]) || sql[j] == '.')) ++j;
            out.push_back({Kind::Number, std::string(sql.substr(i, j - i))});
        } else if (IsWordChar(c)) {
            while (j < sql.size() && IsWordChar(sql[j])) ++j;
            out.push_back({Kind::Word, std::string(sql.substr(i, j - i))});
        } else if (c == '(') {
            out.push_back({Kind::Open, "("});
        } else if (c == ')') {
            out.push_back({Kind::Close, ")"});
        } else if ((c == '<' || c == '>' || c == '!') && j < sql.size() &&
                   (sql[j] == '=' || (c == '<' && sql[j] == '>'))) {
            out.push_back({Kind::Symbol, std::string(sql.substr(i, 2))});
            j = i + 2;
        } else {
            out.push_back({Kind::Symbol, std::string(1, c)});
        }
        i = j;
    }
    return out;
}

// Tokens that end an operand of "&": it binds looser than arithmetic and tighter than
// comparisons and logic.
bool IsBoundary(const Token& t) {
    if (t.kind == Kind::Symbol)
        return t.text == "," || t.text == "=" || t.text == "<>" || t.text == "<" || t.text == ">" ||
               t.text == "<=" || t.text == ">=" || t.text == "!=" || t.text == ";";
    if (t.kind != Kind::Word) return false;
    static const char* kWords[] = {
        "and",   "or",   "not",   "like",     "is",          "in",     "between", "select", "from",
        "where", "set",  "as",    "on",       "group",       "order",  "by",      "having", "then",
        "else",  "when", "case",  "end",      "union",       "values", "into",    "update", "join",
        "inner", "left", "right", "distinct", "distinctrow", "all",    "asc",     "desc"};
    for (const char* w : kWords)
        if (IEquals(t.text, w)) return true;
    return false;
}

std::string Render(const std::vector<Token>& tokens, std::size_t from, std::size_t to);

// left(...) and right(...) are Access functions, but LEFT and RIGHT are join keywords in SQLite:
// as calls they must be quoted there.
bool IsLeftRightCall(const std::vector<Token>& tokens, std::size_t k, std::size_t to) {
    if (tokens[k].kind != Kind::Word ||
        !(IEquals(tokens[k].text, "left") || IEquals(tokens[k].text, "right")))
        return false;
    std::size_t next = k + 1;
    while (next < to && tokens[next].kind == Kind::Space) ++next;
    return next < to && tokens[next].kind == Kind::Open;
}

// Renders tokens [from, to) of one parenthesis level, turning "a & b & c" into jcat(a, b, c).
std::string RenderLevel(const std::vector<Token>& tokens, std::size_t from, std::size_t to) {
    std::string out;
    std::size_t segStart = from;
    auto flushSegment = [&](std::size_t segEnd) {
        // Split the segment at top-level "&".
        std::vector<std::pair<std::size_t, std::size_t>> parts;
        std::size_t partStart = segStart;
        int depth = 0;
        for (std::size_t k = segStart; k < segEnd; ++k) {
            if (tokens[k].kind == Kind::Open) ++depth;
            if (tokens[k].kind == Kind::Close) --depth;
            if (depth == 0 && tokens[k].kind == Kind::Symbol && tokens[k].text == "&") {
                parts.emplace_back(partStart, k);
                partStart = k + 1;
            }
        }
        parts.emplace_back(partStart, segEnd);
        if (parts.size() == 1) {
            out += Render(tokens, segStart, segEnd);
            return;
        }
        // Keep the blanks around the expression outside the call.
        std::string lead;
        std::string trail;
        std::vector<std::string> args;
        for (std::size_t p = 0; p < parts.size(); ++p) {
            std::string arg = Render(tokens, parts[p].first, parts[p].second);
            if (p == 0 && arg.starts_with(" ")) lead = " ";
            if (p + 1 == parts.size() && arg.ends_with(" ")) trail = " ";
            args.emplace_back(TrimSpace(arg));
        }
        out += lead + "jcat(" + Join(args, ", ") + ")" + trail;
    };
    int depth = 0;
    for (std::size_t k = from; k < to; ++k) {
        if (tokens[k].kind == Kind::Open) ++depth;
        if (tokens[k].kind == Kind::Close) --depth;
        if (depth == 0 && IsBoundary(tokens[k]) && !IsLeftRightCall(tokens, k, to)) {
            flushSegment(k);
            out += IEquals(tokens[k].text, "distinctrow") ? "DISTINCT" : tokens[k].text;
            segStart = k + 1;
        }
    }
    flushSegment(to);
    return out;
}

// Renders a token range; parenthesised groups are levels of their own.
std::string Render(const std::vector<Token>& tokens, std::size_t from, std::size_t to) {
    std::string out;
    for (std::size_t k = from; k < to; ++k) {
        if (tokens[k].kind == Kind::Open) {
            int depth = 1;
            std::size_t close = k + 1;
            for (; close < to; ++close) {
                if (tokens[close].kind == Kind::Open) ++depth;
                if (tokens[close].kind == Kind::Close && --depth == 0) break;
            }
            out += "(" + RenderLevel(tokens, k + 1, close) + (close < to ? ")" : "");
            k = close;
        } else if (IsLeftRightCall(tokens, k, to)) {
            out += "\"" + tokens[k].text + "\"";
        } else if (tokens[k].kind == Kind::Word && IEquals(tokens[k].text, "distinctrow")) {
            out += "DISTINCT";
        } else {
            out += tokens[k].text;
        }
    }
    return out;
}

std::size_t FindWord(const std::vector<Token>& t, std::string_view word, std::size_t from) {
    int depth = 0;
    for (std::size_t k = from; k < t.size(); ++k) {
        if (t[k].kind == Kind::Open) ++depth;
        if (t[k].kind == Kind::Close) --depth;
        if (depth == 0 && t[k].kind == Kind::Word && IEquals(t[k].text, word)) return k;
    }
    return t.size();
}

std::size_t SkipSpace(const std::vector<Token>& t, std::size_t k) {
    while (k < t.size() && t[k].kind == Kind::Space) ++k;
    return k;
}

// UPDATE over several tables: the first table stays the target, the others move to FROM, the join
// condition joins the WHERE, and qualifiers in front of the SET columns go.
std::vector<Token> RewriteUpdate(std::vector<Token> t) {
    const std::size_t first = SkipSpace(t, 0);
    if (first >= t.size() || t[first].kind != Kind::Word || !IEquals(t[first].text, "update"))
        return t;
    const std::size_t set = FindWord(t, "set", first + 1);
    if (set == t.size()) return t;

    // The table part: "a, b" or "a INNER JOIN b ON cond" (possibly with aliases).
    std::size_t targetEnd = first + 1;
    std::size_t onCond = t.size();
    std::size_t fromStart = t.size();
    int depth = 0;
    for (std::size_t k = first + 1; k < set; ++k) {
        if (t[k].kind == Kind::Open) ++depth;
        if (t[k].kind == Kind::Close) --depth;
        if (depth != 0) continue;
        if (t[k].kind == Kind::Symbol && t[k].text == ",") {
            targetEnd = k;
            fromStart = k + 1;
            break;
        }
        if (t[k].kind == Kind::Word && IEquals(t[k].text, "inner")) {
            const std::size_t join = SkipSpace(t, k + 1);
            if (join < set && IEquals(t[join].text, "join")) {
                targetEnd = k;
                fromStart = join + 1;
                onCond = FindWord(t, "on", join + 1);
                if (onCond > set) onCond = t.size();
                break;
            }
        }
    }
    if (fromStart == t.size()) return t;
    const std::size_t fromEnd = onCond < set ? onCond : set;

    // The target's alias, if any, is what SET columns may be qualified with.
    std::vector<std::string> targetWords;
    for (std::size_t k = first + 1; k < targetEnd; ++k)
        if (t[k].kind == Kind::Word || t[k].kind == Kind::Bracket) targetWords.push_back(t[k].text);

    const std::size_t where = FindWord(t, "where", set + 1);
    std::vector<Token> out(t.begin(), t.begin() + static_cast<std::ptrdiff_t>(targetEnd));
    if (targetWords.size() == 2) {  // "table alias" -> "table AS alias"
        out.clear();
        out.push_back(t[first]);
        out.push_back({Kind::Space, " "});
        out.push_back({Kind::Word, targetWords[0]});
        out.push_back({Kind::Space, " "});
        out.push_back({Kind::Word, "AS"});
        out.push_back({Kind::Space, " "});
        out.push_back({Kind::Word, targetWords[1]});
    }
    if (out.back().kind != Kind::Space) out.push_back({Kind::Space, " "});
    out.push_back(t[set]);
    // SET assignments, with "x." in front of an assigned column taken away.
    bool expectColumn = true;
    depth = 0;
    for (std::size_t k = set + 1; k < where; ++k) {
        const Token& tok = t[k];
        if (tok.kind == Kind::Open) ++depth;
        if (tok.kind == Kind::Close) --depth;
        if (expectColumn && (tok.kind == Kind::Word || tok.kind == Kind::Bracket)) {
            const std::size_t dot = k + 1;
            if (dot + 1 < where && t[dot].kind == Kind::Symbol && t[dot].text == "." &&
                (t[dot + 1].kind == Kind::Word || t[dot + 1].kind == Kind::Bracket)) {
                out.push_back(t[dot + 1]);
                k = dot + 1;
            } else {
                out.push_back(tok);
            }
            expectColumn = false;
            continue;
        }
        if (depth == 0 && tok.kind == Kind::Symbol && tok.text == ",") expectColumn = true;
        out.push_back(tok);
    }
    if (!out.empty() && out.back().kind != Kind::Space) out.push_back({Kind::Space, " "});
    out.push_back({Kind::Word, "FROM"});
    for (std::size_t k = fromStart; k < fromEnd; ++k) out.push_back(t[k]);
    if (!out.empty() && out.back().kind != Kind::Space) out.push_back({Kind::Space, " "});
    const bool hasOn = onCond < set;
    const bool hasWhere = where < t.size();
    if (hasOn || hasWhere) {
        out.push_back({Kind::Word, "WHERE"});
        out.push_back({Kind::Space, " "});
        if (hasOn) {
            out.push_back({Kind::Open, "("});
            for (std::size_t k = SkipSpace(t, onCond + 1); k < set; ++k) out.push_back(t[k]);
            while (!out.empty() && out.back().kind == Kind::Space) out.pop_back();
            out.push_back({Kind::Close, ")"});
        }
        if (hasOn && hasWhere) {
            out.push_back({Kind::Space, " "});
            out.push_back({Kind::Word, "AND"});
            out.push_back({Kind::Space, " "});
        }
        if (hasWhere) {
            out.push_back({Kind::Open, "("});
            std::size_t end = t.size();
            while (end > where && (t[end - 1].kind == Kind::Space ||
                                   (t[end - 1].kind == Kind::Symbol && t[end - 1].text == ";")))
                --end;
            for (std::size_t k = SkipSpace(t, where + 1); k < end; ++k) out.push_back(t[k]);
            out.push_back({Kind::Close, ")"});
        }
    }
    while (!out.empty() && out.back().kind == Kind::Space) out.pop_back();
    return out;
}

}  // namespace

std::string TranslateAccessSql(std::string_view accessSql) {
    const std::vector<Token> tokens = RewriteUpdate(Tokenize(accessSql));
    return std::string(TrimSpace(RenderLevel(tokens, 0, tokens.size())));
}

}  // namespace tb::extraction
