#pragma once
// Text as Jet sees it, on Linux: numbers shown as Access shows them, Unicode case through ICU
// (lower, upper, case folding for compares) and the LIKE of Jet's ANSI-92 mode.

#include <string>
#include <string_view>
#include <vector>

namespace tb::store {

// A double as Access shows it in text (VB's CStr): at most 15 significant digits, no trailing
// zeros, exponent form from 1E+15 and below 1E-04 ("3", "0.5", "1E+20", "1E-05").
std::string FormatAccessNumber(double value);
// A double as Oracle's TO_CHAR shows it: no exponent for ordinary sizes, no leading zero before
// the point (".5"), integral values without a point.
std::string FormatOracleNumber(double value);

// Full Unicode case folding (ICU, default options): the key under which texts compare.
std::string FoldCase(std::string_view text);
std::string ToLowerUnicode(std::string_view text);
std::string ToUpperUnicode(std::string_view text);

// Compares as the store's collation does: case-folded texts in code point order; <0, 0, >0.
int CompareIgnoringCase(std::string_view a, std::string_view b);

// Jet's LIKE in ANSI-92 mode, ignoring case (Unicode simple case folding): % any run, _ one
// character, [abc], [a-z], [!abc] or [^abc] one character of a class; an unclosed [ is an
// ordinary character. `escape` (0 for none) makes the next pattern character literal.
bool LikeMatch(std::string_view pattern, std::string_view text, char32_t escape = 0);

// Code points of UTF-8 text (an invalid byte counts as one, as U+FFFD).
std::size_t CodePointCount(std::string_view text);
std::u32string ToCodePoints(std::string_view text);
// The byte offset at which each code point starts.
std::vector<std::size_t> CodePointOffsets(std::string_view text);
// The UTF-8 text from code point `start` (0-based), `count` code points long (clipped).
std::string_view CodePointSubstr(std::string_view text, std::size_t start,
                                 std::size_t count = std::string_view::npos);

}  // namespace tb::store
