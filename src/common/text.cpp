#include "common/text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace tb {
namespace {

char LowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}
char UpperAscii(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

// Decodes one UTF-8 code point at pos and advances; invalid bytes stand for themselves.
char32_t NextCodePoint(std::string_view s, std::size_t& pos) {
    const auto b0 = static_cast<unsigned char>(s[pos]);
    int len = 1;
    char32_t cp = b0;
    if (b0 >= 0xC0 && b0 < 0xE0) {
        len = 2;
        cp = b0 & 0x1F;
    } else if (b0 >= 0xE0 && b0 < 0xF0) {
        len = 3;
        cp = b0 & 0x0F;
    } else if (b0 >= 0xF0 && b0 < 0xF8) {
        len = 4;
        cp = b0 & 0x07;
    }
    if (len > 1) {
        if (pos + len > s.size()) {
            ++pos;
            return b0;
        }
        for (int i = 1; i < len; ++i) {
            const auto b = static_cast<unsigned char>(s[pos + i]);
            if ((b & 0xC0) != 0x80) {
                ++pos;
                return b0;
            }
            cp = (cp << 6) | (b & 0x3F);
        }
    }
    pos += len;
    return cp;
}

char32_t FoldAscii(char32_t c, bool ignoreCase) {
    return (ignoreCase && c >= 'A' && c <= 'Z') ? c - 'A' + 'a' : c;
}

std::vector<char32_t> CodePoints(std::string_view s) {
    std::vector<char32_t> out;
    out.reserve(s.size());
    for (std::size_t pos = 0; pos < s.size();) out.push_back(NextCodePoint(s, pos));
    return out;
}

// Matches one [...] class starting after '['; sets `end` to the index behind ']'.
// Returns false in `valid` when the class is not closed.
bool MatchClass(const std::vector<char32_t>& p, std::size_t start, char32_t c, bool ignoreCase,
                std::size_t& end, bool& valid) {
    std::size_t i = start;
    bool negate = false;
    if (i < p.size() && p[i] == '!') {
        negate = true;
        ++i;
    }
    bool hit = false;
    bool first = true;
    const char32_t fc = FoldAscii(c, ignoreCase);
    while (i < p.size() && (p[i] != ']' || first)) {
        first = false;
        char32_t lo = FoldAscii(p[i], ignoreCase);
        if (i + 2 < p.size() && p[i + 1] == '-' && p[i + 2] != ']') {
            char32_t hi = FoldAscii(p[i + 2], ignoreCase);
            if (lo <= fc && fc <= hi) hit = true;
            i += 3;
        } else {
            if (lo == fc) hit = true;
            ++i;
        }
    }
    valid = i < p.size();
    end = i + 1;
    return hit != negate;
}

bool LikeAt(const std::vector<char32_t>& t, std::size_t ti, const std::vector<char32_t>& p,
            std::size_t pi, bool ignoreCase) {
    while (pi < p.size()) {
        const char32_t pc = p[pi];
        if (pc == '*') {
            while (pi < p.size() && p[pi] == '*') ++pi;
            if (pi == p.size()) return true;
            for (std::size_t k = ti; k <= t.size(); ++k)
                if (LikeAt(t, k, p, pi, ignoreCase)) return true;
            return false;
        }
        if (ti >= t.size()) return false;
        if (pc == '?') {
            ++ti;
            ++pi;
        } else if (pc == '#') {
            if (t[ti] < '0' || t[ti] > '9') return false;
            ++ti;
            ++pi;
        } else if (pc == '[') {
            std::size_t end = 0;
            bool valid = true;
            const bool hit = MatchClass(p, pi + 1, t[ti], ignoreCase, end, valid);
            if (!valid) {  // an unclosed '[' is an ordinary character
                if (t[ti] != '[') return false;
                ++ti;
                ++pi;
                continue;
            }
            if (!hit) return false;
            ++ti;
            pi = end;
        } else {
            if (FoldAscii(t[ti], ignoreCase) != FoldAscii(pc, ignoreCase)) return false;
            ++ti;
            ++pi;
        }
    }
    return ti == t.size();
}

}  // namespace

std::string_view TrimBlanks(std::string_view text) {
    const auto b = text.find_first_not_of(' ');
    if (b == std::string_view::npos) return {};
    const auto e = text.find_last_not_of(' ');
    return text.substr(b, e - b + 1);
}

std::string_view TrimSpace(std::string_view text) {
    constexpr std::string_view ws = " \t\r\n";
    const auto b = text.find_first_not_of(ws);
    if (b == std::string_view::npos) return {};
    const auto e = text.find_last_not_of(ws);
    return text.substr(b, e - b + 1);
}

std::string ToLowerAscii(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), LowerAscii);
    return out;
}

std::string ToUpperAscii(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), UpperAscii);
    return out;
}

bool IEquals(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return LowerAscii(x) == LowerAscii(y);
           });
}

bool IStartsWith(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && IEquals(text.substr(0, prefix.size()), prefix);
}

bool IEndsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() &&
           IEquals(text.substr(text.size() - suffix.size()), suffix);
}

std::size_t IFind(std::string_view text, std::string_view needle, std::size_t from) {
    if (needle.empty()) return from <= text.size() ? from : std::string_view::npos;
    for (std::size_t i = from; i + needle.size() <= text.size(); ++i)
        if (IEquals(text.substr(i, needle.size()), needle)) return i;
    return std::string_view::npos;
}

std::string ReplaceLineBreaks(std::string_view text, std::string_view with) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r') {
            if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
            out += with;
        } else if (text[i] == '\n') {
            out += with;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to) {
    if (from.empty()) return std::string(text);
    std::string out;
    std::size_t pos = 0;
    for (std::size_t hit; (hit = text.find(from, pos)) != std::string_view::npos;
         pos = hit + from.size()) {
        out.append(text.substr(pos, hit - pos));
        out.append(to);
    }
    out.append(text.substr(pos));
    return out;
}

std::string ReplaceAllI(std::string_view text, std::string_view from, std::string_view to) {
    if (from.empty()) return std::string(text);
    std::string out;
    std::size_t pos = 0;
    for (std::size_t hit; (hit = IFind(text, from, pos)) != std::string_view::npos;
         pos = hit + from.size()) {
        out.append(text.substr(pos, hit - pos));
        out.append(to);
    }
    out.append(text.substr(pos));
    return out;
}

std::vector<std::string> Split(std::string_view text, std::string_view sep) {
    std::vector<std::string> out;
    if (text.empty()) return out;
    if (sep.empty()) {
        out.emplace_back(text);
        return out;
    }
    std::size_t pos = 0;
    for (std::size_t hit; (hit = text.find(sep, pos)) != std::string_view::npos;
         pos = hit + sep.size())
        out.emplace_back(text.substr(pos, hit - pos));
    out.emplace_back(text.substr(pos));
    return out;
}

std::string Join(const std::vector<std::string>& parts, std::string_view sep) {
    std::string out;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i) out.append(sep);
        out.append(parts[i]);
    }
    return out;
}

std::string StripEnclosingQuotes(std::string_view text) {
    if (text.size() > 1 && text.front() == '"' && text.back() == '"')
        return std::string(text.substr(1, text.size() - 2));
    return std::string(text);
}

std::string QuoteSqlText(std::string_view text) {
    return "'" + std::string(text) + "'";
}
std::string EscapeSqlText(std::string_view text) {
    return ReplaceAll(text, "'", "''");
}
std::string SqlLiteral(std::string_view text) {
    return QuoteSqlText(EscapeSqlText(text));
}
std::string BracketName(std::string_view name) {
    return "[" + std::string(name) + "]";
}

std::string QuoteIdentifier(std::string_view name, char open, char close) {
    std::string out(1, open);
    out.reserve(name.size() + 2);
    for (char c : name) {
        if (c == close) out += close;
        out += c;
    }
    out += close;
    return out;
}

bool Like(std::string_view text, std::string_view pattern, bool ignoreCase) {
    return LikeAt(CodePoints(text), 0, CodePoints(pattern), 0, ignoreCase);
}

long LeadingNumber(std::string_view text) {
    text = TrimBlanks(text);
    long value = 0;
    const char* b = text.data();
    if (!text.empty() && text.front() == '+') ++b;
    std::from_chars(b, text.data() + text.size(), value);
    return value;
}

}  // namespace tb
