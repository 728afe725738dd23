#pragma once
// Text helpers shared by every library: trimming, case-insensitive search (ASCII case, which is
// what names and keys of this system use), splitting, SQL literals and the VB-style Like.

#include <string>
#include <string_view>
#include <vector>

namespace tb {

// Blanks only, as VB's Trim.
std::string_view TrimBlanks(std::string_view text);
// Blanks, tabs, CR and LF.
std::string_view TrimSpace(std::string_view text);

std::string ToLowerAscii(std::string_view text);
std::string ToUpperAscii(std::string_view text);
bool IEquals(std::string_view a, std::string_view b);
bool IStartsWith(std::string_view text, std::string_view prefix);
bool IEndsWith(std::string_view text, std::string_view suffix);
// Position of `needle` in `text` from `from`, ignoring ASCII case; npos when absent.
std::size_t IFind(std::string_view text, std::string_view needle, std::size_t from = 0);

std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to);
// Each line break (CR LF, CR or LF) replaced by `with`.
std::string ReplaceLineBreaks(std::string_view text, std::string_view with);
std::string ReplaceAllI(std::string_view text, std::string_view from, std::string_view to);

// Splits at every occurrence of `sep`; an empty text gives an empty list (as VB's Split).
std::vector<std::string> Split(std::string_view text, std::string_view sep);
std::string Join(const std::vector<std::string>& parts, std::string_view sep);

// Removes one pair of enclosing double quotes from a text longer than one character.
std::string StripEnclosingQuotes(std::string_view text);

// SQL text: every text value enters SQL through SqlLiteral.
std::string QuoteSqlText(std::string_view text);   // 'text'
std::string EscapeSqlText(std::string_view text);  // ' doubled
std::string SqlLiteral(std::string_view text);     // escaped, then quoted
std::string BracketName(std::string_view name);    // [name]
// A table or column name between a dialect's quote characters, the closing one doubled inside:
// ("a]b", '[', ']') gives "[a]]b]", ("a\"b", '"', '"') gives "\"a\"\"b\"". Callers decide which
// names need it (plantaccess::SqlName, store::QuoteName).
std::string QuoteIdentifier(std::string_view name, char open, char close);

// VB's Like: ? one character, * any run, # one digit, [abc], [a-z], [!abc]. Works on UTF-8 code
// points. With ignoreCase, ASCII letters compare without case (Option Compare Text).
bool Like(std::string_view text, std::string_view pattern, bool ignoreCase = false);

// Number at the start of a text, as the ini flags are read ("1abc" is 1, "" is 0).
long LeadingNumber(std::string_view text);

}  // namespace tb
