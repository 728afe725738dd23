#pragma once
// Text as Jet 4 stores it: UTF-16LE, optionally "compressed" (FF FE, then one byte per
// character) when every character fits in one byte; and text index keys in the General
// (legacy) sort order of Access 2000.

#include <cstdint>
#include <string>
#include <string_view>

#include "mdb/jet_format.h"

namespace tb::mdb::jet {

// Decodes UTF-8 into UTF-16 code units; false when the bytes are not valid UTF-8.
bool Utf8ToUnits(std::string_view utf8, std::u16string& out);

// Whether the text may be stored compressed: more than two characters (below that the FF FE
// mark costs more than it saves), all in U+0001..U+00FF.
bool IsCompressible(std::u16string_view text);

// Appends the stored form of the text: compressed when `compress` and IsCompressible, else
// plain UTF-16LE.
void AppendText(std::u16string_view text, bool compress, ByteVec& out);

// Appends the index key bytes of a text value (without the leading 7F flag): one or two sort
// bytes per character, 01, the codes of accents and of "unprintable" characters such as the
// hyphen and the apostrophe, then 00. Text is cut at 255 characters and trailing blanks do not
// count. Returns false when a character lies outside U+0000..U+00FF (not supported yet).
bool AppendTextKey(std::u16string_view text, ByteVec& out);

}  // namespace tb::mdb::jet
