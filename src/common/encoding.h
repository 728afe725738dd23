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

// Lenient: a byte that starts no well-formed sequence (a stray continuation byte, a sequence cut
// short or broken) becomes U+FFFD; well-formed sequences are taken as they decode, overlong forms
// and encoded surrogates included.
std::u16string Utf8ToUtf16(std::string_view utf8);
// Strict: false for anything that is not UTF-8, overlong forms, surrogates and values past
// U+10FFFF included; `out` then holds nothing meaningful. `out` is replaced, its memory reused.
bool Utf8ToUtf16Checked(std::string_view utf8, std::u16string& out);

// A lone surrogate becomes U+FFFD.
std::string Utf16ToUtf8(std::u16string_view utf16);
void AppendUtf16AsUtf8(std::u16string_view utf16, std::string& out);

std::string Cp1252ToUtf8(std::string_view bytes);
std::string Utf8ToCp1252(std::string_view utf8);

}  // namespace tb
