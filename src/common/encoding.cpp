#include "common/encoding.h"

#include <array>
#include <cstdint>

namespace tb {
namespace {

// Code page 1252 positions 0x80..0x9F; 0 marks the five unassigned ones, kept as C1 controls.
constexpr std::array<char16_t, 32> kCp1252High = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

void AppendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// Decodes the sequence at p (p < end) into `cp` and returns its length; 0 when the bytes form
// no sequence: a byte that cannot lead one, a sequence cut short, a byte that continues none.
// Overlong forms, surrogates and values past U+10FFFF decode as they are; callers decide.
inline int DecodeSequence(const unsigned char* p, const unsigned char* end, char32_t& cp) {
    const unsigned b0 = *p;
    if (b0 < 0x80) {
        cp = b0;
        return 1;
    }
    int len;
    if ((b0 & 0xE0) == 0xC0) {
        len = 2;
        cp = b0 & 0x1F;
    } else if ((b0 & 0xF0) == 0xE0) {
        len = 3;
        cp = b0 & 0x0F;
    } else if ((b0 & 0xF8) == 0xF0) {
        len = 4;
        cp = b0 & 0x07;
    } else {
        return 0;
    }
    if (end - p < len) return 0;
    for (int k = 1; k < len; ++k) {
        if ((p[k] & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (p[k] & 0x3F);
    }
    return len;
}

// Whether a decoded sequence is UTF-8: shortest form, no surrogate, at most U+10FFFF.
inline bool IsScalarSequence(char32_t cp, int len) {
    static constexpr char32_t kMin[] = {0, 0, 0x80, 0x800, 0x10000};
    return cp >= kMin[len] && cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF);
}

// One or two code units; a value past U+10FFFF (lenient input only) is split all the same.
inline char16_t* PutUnits(char32_t cp, char16_t* o) {
    if (cp >= 0x10000) {
        cp -= 0x10000;
        *o++ = static_cast<char16_t>(0xD800 + (cp >> 10));
        *o++ = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
        *o++ = static_cast<char16_t>(cp);
    }
    return o;
}

// Decodes one code point of valid or invalid UTF-8; a byte that starts no sequence gives U+FFFD.
char32_t DecodeUtf8(std::string_view s, std::size_t& i) {
    const auto* p = reinterpret_cast<const unsigned char*>(s.data());
    char32_t cp;
    const int len = DecodeSequence(p + i, p + s.size(), cp);
    if (len == 0) {
        ++i;
        return 0xFFFD;
    }
    i += static_cast<std::size_t>(len);
    return cp;
}

std::string DecodeUtf16(std::string_view bytes, bool littleEndian) {
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto a = static_cast<unsigned char>(bytes[i]);
        const auto b = static_cast<unsigned char>(bytes[i + 1]);
        units += static_cast<char16_t>(littleEndian ? (a | (b << 8)) : ((a << 8) | b));
    }
    return Utf16ToUtf8(units);
}

std::string EncodeUtf16(std::string_view utf8, bool littleEndian) {
    std::string out = littleEndian ? std::string("\xFF\xFE") : std::string("\xFE\xFF");
    for (char16_t u : Utf8ToUtf16(utf8)) {
        const char lo = static_cast<char>(u & 0xFF);
        const char hi = static_cast<char>(u >> 8);
        if (littleEndian) {
            out += lo;
            out += hi;
        } else {
            out += hi;
            out += lo;
        }
    }
    return out;
}

}  // namespace

bool IsValidUtf8(std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size();) {
        const auto b0 = static_cast<unsigned char>(bytes[i]);
        if (b0 < 0x80) {
            ++i;
            continue;
        }
        int len;
        char32_t min;
        if ((b0 & 0xE0) == 0xC0) {
            len = 2;
            min = 0x80;
        } else if ((b0 & 0xF0) == 0xE0) {
            len = 3;
            min = 0x800;
        } else if ((b0 & 0xF8) == 0xF0) {
            len = 4;
            min = 0x10000;
        } else {
            return false;
        }
        if (i + len > bytes.size()) return false;
        std::size_t j = i;
        const char32_t cp = DecodeUtf8(bytes, j);
        // The decoder answers U+FFFD for a broken sequence; the character itself is EF BF BD.
        const bool broken = cp == 0xFFFD && bytes.substr(i, len) != "\xEF\xBF\xBD";
        if (j != i + len || broken || cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        i = j;
    }
    return true;
}

TextEncoding DetectEncoding(std::string_view bytes) {
    if (bytes.size() >= 2 && bytes[0] == '\xFF' && bytes[1] == '\xFE') return TextEncoding::Utf16LE;
    if (bytes.size() >= 2 && bytes[0] == '\xFE' && bytes[1] == '\xFF') return TextEncoding::Utf16BE;
    if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") return TextEncoding::Utf8Bom;
    return IsValidUtf8(bytes) ? TextEncoding::Utf8 : TextEncoding::Cp1252;
}

std::string DecodeText(std::string_view bytes, TextEncoding encoding) {
    switch (encoding) {
        case TextEncoding::Utf16LE:
            return DecodeUtf16(bytes.substr(2), true);
        case TextEncoding::Utf16BE:
            return DecodeUtf16(bytes.substr(2), false);
        case TextEncoding::Utf8Bom:
            return std::string(bytes.substr(3));
        case TextEncoding::Cp1252:
            return Cp1252ToUtf8(bytes);
        case TextEncoding::Utf8:
            break;
    }
    return std::string(bytes);
}

std::string EncodeText(std::string_view utf8, TextEncoding encoding) {
    switch (encoding) {
        case TextEncoding::Utf16LE:
            return EncodeUtf16(utf8, true);
        case TextEncoding::Utf16BE:
            return EncodeUtf16(utf8, false);
        case TextEncoding::Utf8Bom:
            return "\xEF\xBB\xBF" + std::string(utf8);
        case TextEncoding::Cp1252:
            return Utf8ToCp1252(utf8);
        case TextEncoding::Utf8:
            break;
    }
    return std::string(utf8);
}

// Both conversions give at most one unit per byte (a four-byte sequence gives two), so the output
// is sized once and cut at the end.
std::u16string Utf8ToUtf16(std::string_view utf8) {
    std::u16string out(utf8.size(), u'\0');
    char16_t* o = out.data();
    const auto* p = reinterpret_cast<const unsigned char*>(utf8.data());
    const auto* end = p + utf8.size();
    while (p < end) {
        char32_t cp;
        const int len = DecodeSequence(p, end, cp);
        if (len == 0) {
            *o++ = 0xFFFD;
            ++p;
            continue;
        }
        o = PutUnits(cp, o);
        p += len;
    }
    out.resize(static_cast<std::size_t>(o - out.data()));
    return out;
}

bool Utf8ToUtf16Checked(std::string_view utf8, std::u16string& out) {
    out.resize(utf8.size());
    char16_t* o = out.data();
    const auto* p = reinterpret_cast<const unsigned char*>(utf8.data());
    const auto* end = p + utf8.size();
    while (p < end) {
        if (*p < 0x80) {  // the common case, kept short
            *o++ = *p++;
            continue;
        }
        char32_t cp;
        const int len = DecodeSequence(p, end, cp);
        if (len == 0 || !IsScalarSequence(cp, len)) return false;
        o = PutUnits(cp, o);
        p += len;
    }
    out.resize(static_cast<std::size_t>(o - out.data()));
    return true;
}

std::string Utf16ToUtf8(std::u16string_view utf16) {
    std::string out;
    out.reserve(utf16.size());
    AppendUtf16AsUtf8(utf16, out);
    return out;
}

void AppendUtf16AsUtf8(std::u16string_view utf16, std::string& out) {
    for (std::size_t i = 0; i < utf16.size(); ++i) {
        char32_t cp = utf16[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < utf16.size() && utf16[i + 1] >= 0xDC00 &&
            utf16[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (utf16[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = 0xFFFD;
        }
        AppendUtf8(out, cp);
    }
}

std::string Cp1252ToUtf8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        char32_t cp = b;
        if (b >= 0x80 && b < 0xA0 && kCp1252High[b - 0x80] != 0) cp = kCp1252High[b - 0x80];
        AppendUtf8(out, cp);
    }
    return out;
}

std::string Utf8ToCp1252(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size();) {
        const char32_t cp = DecodeUtf8(utf8, i);
        if (cp < 0x80 || (cp >= 0xA0 && cp < 0x100)) {
            out += static_cast<char>(cp);
            continue;
        }
        char mapped = '?';
        for (std::size_t k = 0; k < kCp1252High.size(); ++k) {
            if (kCp1252High[k] != 0 ? kCp1252High[k] == cp : cp == 0x80 + k) {
                mapped = static_cast<char>(0x80 + k);
                break;
            }
        }
        out += mapped;
    }
    return out;
}

}  // namespace tb
