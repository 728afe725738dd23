#pragma once
// Conversions between the text encodings that files of this system come in. Internally all text
// is UTF-8.

#include <string>
#include <string_view>

namespace tb {

enum class TextEncoding { Utf8, Utf8Bom, Cp1252, Utf16LE, Utf16BE };

bool IsValidUtf8(std::string_view bytes);

// UTF-16 with a byte-order mark; UTF-8 (with or without mark) when the bytes are valid UTF-8;
// else code page 1252.
TextEncoding DetectEncoding(std::string_view bytes);

// Decodes file bytes to UTF-8; the byte-order mark is dropped.
std::string DecodeText(std::string_view bytes, TextEncoding encoding);
// Encodes UTF-8 text for a file, with the byte-order mark the encoding has. Characters code page
// 1252 cannot hold become '?'.
std::string EncodeText(std::string_view utf8, TextEncoding encoding);

std::u16string Utf8ToUtf16(std::string_view utf8);
std::string Utf16ToUtf8(std::u16string_view utf16);
std::string Cp1252ToUtf8(std::string_view bytes);
std::string Utf8ToCp1252(std::string_view utf8);

}  // namespace tb
