#pragma once
// Text as Jet 4 stores it: UTF-16LE, optionally "compressed" (FF FE, then one byte per
// character) when every character fits in one byte; and text index keys in the General
// (legacy) sort order of Access 2000.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "mdb/jet_format.h"

namespace tb::mdb::jet {

// Whether the text may be stored compressed: more than two characters (below that the FF FE
// mark costs more than it saves), all in U+0001..U+00FF.
bool IsCompressible(std::u16string_view text);

// Appends the stored form of the text: compressed when `compress` and IsCompressible, else
// plain UTF-16LE.
void AppendText(std::u16string_view text, bool compress, ByteVec& out);

// Appends the index key bytes of a text value (without the leading 7F flag): one or two sort
// bytes per character, 01, the codes of accents and of "unprintable" characters such as the
// hyphen and the apostrophe, then 00. Text is cut at 255 characters and trailing blanks do not
// count. Returns false when a character has no known sort code (FirstUnsortable).
bool AppendTextKey(std::u16string_view text, ByteVec& out);

// Whether the General sort order code of a character is known here: U+0000..U+00FF, the table
// that Access-made files confirm. Codes of other characters are never guessed.
bool HasSortCode(char32_t c);

// The first character of the text (a whole code point, surrogate pairs joined) without a known
// sort code, within the part a key takes (255 characters, trailing blanks dropped); nullopt when
// every character has one.
std::optional<char32_t> FirstUnsortable(std::u16string_view text);

}  // namespace tb::mdb::jet
