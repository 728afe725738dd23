#include "store/access_text.h"

#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <vector>

#include "common/error.h"

namespace tb::store {

namespace {

std::string ToCharsGeneral(double value, int precision) {
    char buf[64];
    const auto r =
        std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, precision);
    std::string out(buf, r.ptr);
    for (char& c : out)
        if (c == 'e') c = 'E';
    return out;
}

struct CaseMapCloser {
    void operator()(UCaseMap* m) const { ucasemap_close(m); }
};

// One case map for the process; ICU allows concurrent use of a const map.
const UCaseMap* CaseMap() {
    static const std::unique_ptr<UCaseMap, CaseMapCloser> map = [] {
        UErrorCode status = U_ZERO_ERROR;
        UCaseMap* m = ucasemap_open("", U_FOLD_CASE_DEFAULT, &status);
        if (U_FAILURE(status))
            throw Error(kErrInternal, std::string("ICU case map: ") + u_errorName(status));
        return std::unique_ptr<UCaseMap, CaseMapCloser>(m);
    }();
    return map.get();
}

using CaseFn = int32_t (*)(const UCaseMap*, char*, int32_t, const char*, int32_t, UErrorCode*);

std::string MapCase(std::string_view text, CaseFn fn) {
    if (text.empty()) return {};
    std::string out(text.size() + text.size() / 2 + 8, '\0');
    UErrorCode status = U_ZERO_ERROR;
    const auto len = static_cast<int32_t>(text.size());
    int32_t n =
        fn(CaseMap(), out.data(), static_cast<int32_t>(out.size()), text.data(), len, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        out.assign(static_cast<std::size_t>(n), '\0');
        status = U_ZERO_ERROR;
        n = fn(CaseMap(), out.data(), n, text.data(), len, &status);
    }
    if (U_FAILURE(status))
        throw Error(kErrInternal, std::string("ICU case mapping: ") + u_errorName(status));
    out.resize(static_cast<std::size_t>(n));
    return out;
}

char32_t NextCodePoint(std::string_view s, std::size_t& i) {
    UChar32 c = 0;
    int32_t pos = static_cast<int32_t>(i);
    U8_NEXT(s.data(), pos, static_cast<int32_t>(s.size()), c);
    i = static_cast<std::size_t>(pos);
    return c < 0 ? 0xFFFD : static_cast<char32_t>(c);
}

char32_t Fold(char32_t c) {
    if (c < 0x80) return (c >= 'A' && c <= 'Z') ? c + 32 : c;
    return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

// One element of a parsed LIKE pattern.
struct LikeToken {
    enum Kind { Literal, One, Any, Class } kind = Literal;
    char32_t ch = 0;                                    // Literal, folded
    bool negated = false;                               // Class
    std::vector<std::pair<char32_t, char32_t>> ranges;  // Class, folded ends
};

std::vector<LikeToken> ParseLike(std::string_view pattern, char32_t escape) {
    const std::u32string p = ToCodePoints(pattern);
    std::vector<LikeToken> out;
    for (std::size_t i = 0; i < p.size(); ++i) {
        LikeToken t;
        const char32_t c = p[i];
        if (escape != 0 && c == escape && i + 1 < p.size()) {
            t.ch = Fold(p[++i]);
        } else if (c == '%') {
            t.kind = LikeToken::Any;
        } else if (c == '_') {
            t.kind = LikeToken::One;
        } else if (c == '[') {
            std::size_t j = i + 1;
            if (j < p.size() && (p[j] == '!' || p[j] == '^')) {
                t.negated = true;
                ++j;
            }
            const std::size_t first = j;
            while (j < p.size() && (p[j] != ']' || j == first)) ++j;
            if (j >= p.size()) {  // unclosed: an ordinary '['
                t.ch = '[';
            } else {
                t.kind = LikeToken::Class;
                for (std::size_t k = first; k < j; ++k) {
                    if (k + 2 < j && p[k + 1] == '-') {
                        t.ranges.emplace_back(Fold(p[k]), Fold(p[k + 2]));
                        k += 2;
                    } else {
                        t.ranges.emplace_back(Fold(p[k]), Fold(p[k]));
                    }
                }
                i = j;
            }
        } else {
            t.ch = Fold(c);
        }
        out.push_back(std::move(t));
    }
    return out;
}

bool TokenMatches(const LikeToken& t, char32_t folded) {
    switch (t.kind) {
        case LikeToken::Literal:
            return t.ch == folded;
        case LikeToken::One:
            return true;
        case LikeToken::Class: {
            bool in = false;
            for (const auto& [lo, hi] : t.ranges)
                if (folded >= lo && folded <= hi) in = true;
            return in != t.negated;
        }
        case LikeToken::Any:
            return false;
    }
    return false;
}

}  // namespace

std::string FormatAccessNumber(double value) {
    if (value == 0) return "0";  // also -0
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
    return ToCharsGeneral(value, 15);
}

std::string FormatOracleNumber(double value) {
    if (value == 0) return "0";
    if (!std::isfinite(value)) return FormatAccessNumber(value);
    const double magnitude = std::fabs(value);
    std::string out;
    if (magnitude >= 1e40 || magnitude < 1e-40) {
        out = ToCharsGeneral(value, 17);
    } else {
        char buf[128];
        const auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed);
        out.assign(buf, r.ptr);
    }
    if (out.rfind("0.", 0) == 0)
        out.erase(0, 1);
    else if (out.rfind("-0.", 0) == 0)
        out.erase(1, 1);
    return out;
}

std::string FoldCase(std::string_view text) {
    return MapCase(text, ucasemap_utf8FoldCase);
}
std::string ToLowerUnicode(std::string_view text) {
    return MapCase(text, ucasemap_utf8ToLower);
}
std::string ToUpperUnicode(std::string_view text) {
    return MapCase(text, ucasemap_utf8ToUpper);
}

int CompareIgnoringCase(std::string_view a, std::string_view b) {
    // ASCII prefix in place; the rest, once a byte above 0x7F shows, through ICU folding. Folding
    // works code point by code point, so an equal ASCII prefix can be skipped.
    const std::size_t n = std::min(a.size(), b.size());
    std::size_t i = 0;
    for (; i < n; ++i) {
        auto ca = static_cast<unsigned char>(a[i]);
        auto cb = static_cast<unsigned char>(b[i]);
        if ((ca | cb) & 0x80) break;
        if (ca == cb) continue;
        if (ca >= 'A' && ca <= 'Z') ca += 32;
        if (cb >= 'A' && cb <= 'Z') cb += 32;
        if (ca != cb) return ca < cb ? -1 : 1;
    }
    const std::string_view ra = a.substr(i), rb = b.substr(i);
    const bool asciiRest = std::none_of(ra.begin(), ra.end(), [](char c) { return c & 0x80; }) &&
                           std::none_of(rb.begin(), rb.end(), [](char c) { return c & 0x80; });
    if (asciiRest) return ra.size() == rb.size() ? 0 : (ra.size() < rb.size() ? -1 : 1);
    const std::string fa = FoldCase(ra), fb = FoldCase(rb);
    const int c = fa.compare(fb);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

bool LikeMatch(std::string_view pattern, std::string_view text, char32_t escape) {
    const std::vector<LikeToken> p = ParseLike(pattern, escape);
    std::u32string t = ToCodePoints(text);
    for (char32_t& c : t) c = Fold(c);

    // Greedy match with backtracking to the last '%': linear for patterns with one '%'.
    std::size_t ti = 0, pi = 0, starP = std::string_view::npos, starT = 0;
    while (ti < t.size()) {
        if (pi < p.size() && p[pi].kind == LikeToken::Any) {
            starP = pi++;
            starT = ti;
        } else if (pi < p.size() && TokenMatches(p[pi], t[ti])) {
            ++pi;
            ++ti;
        } else if (starP != std::string_view::npos) {
            pi = starP + 1;
            ti = ++starT;
        } else {
            return false;
        }
    }
    while (pi < p.size() && p[pi].kind == LikeToken::Any) ++pi;
    return pi == p.size();
}

std::size_t CodePointCount(std::string_view text) {
    std::size_t n = 0;
    for (std::size_t i = 0; i < text.size(); ++n) NextCodePoint(text, i);
    return n;
}

std::u32string ToCodePoints(std::string_view text) {
    std::u32string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) out.push_back(NextCodePoint(text, i));
    return out;
}

std::vector<std::size_t> CodePointOffsets(std::string_view text) {
    std::vector<std::size_t> out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        out.push_back(i);
        NextCodePoint(text, i);
    }
    return out;
}

std::string_view CodePointSubstr(std::string_view text, std::size_t start, std::size_t count) {
    std::size_t i = 0;
    for (std::size_t k = 0; k < start && i < text.size(); ++k) NextCodePoint(text, i);
    std::size_t j = i;
    for (std::size_t k = 0; k < count && j < text.size(); ++k) NextCodePoint(text, j);
    return text.substr(i, j - i);
}

}  // namespace tb::store
