#include "mdb/jet_text.h"

namespace tb::mdb::jet {

bool IsCompressible(std::u16string_view text) {
    if (text.size() <= 2) return false;
    for (char16_t c : text) {
        if (c == 0 || c > 0xFF) return false;
    }
    return true;
}

void AppendText(std::u16string_view text, bool compress, ByteVec& out) {
    const std::size_t at = out.size();
    if (compress && IsCompressible(text)) {
        out.resize(at + 2 + text.size());
        std::uint8_t* p = out.data() + at;
        *p++ = 0xFF;
        *p++ = 0xFE;
        for (char16_t c : text) *p++ = static_cast<std::uint8_t>(c);
        return;
    }
    out.resize(at + 2 * text.size());
    std::uint8_t* p = out.data() + at;
    for (char16_t c : text) {
        *p++ = static_cast<std::uint8_t>(c);
        *p++ = static_cast<std::uint8_t>(c >> 8);
    }
}

namespace {

// How each character of U+0000..U+00FF enters a General (legacy) key:
//  'S' sort bytes only; 'I' sort byte plus an accent code in the extra part;
//  'U' no sort byte, a positioned code in the unprintable part (hyphen, apostrophe, controls);
//  'X' ignored.
struct CharCode {
    char kind;
    std::uint8_t count;
    std::uint8_t bytes[2];
    std::uint8_t extra;
};

// clang-format off
constexpr CharCode kGeneralLegacy[256] = {
    {'X', 0, {0, 0}, 0}, {'U', 1, {0x03, 0x00}, 0}, {'U', 1, {0x04, 0x00}, 0}, {'U', 1, {0x05, 0x00}, 0},  // 00
    {'U', 1, {0x06, 0x00}, 0}, {'U', 1, {0x07, 0x00}, 0}, {'U', 1, {0x08, 0x00}, 0}, {'U', 1, {0x09, 0x00}, 0},  // 04
    {'U', 1, {0x0A, 0x00}, 0}, {'S', 2, {0x08, 0x03}, 0}, {'S', 2, {0x08, 0x04}, 0}, {'S', 2, {0x08, 0x05}, 0},  // 08
    {'S', 2, {0x08, 0x06}, 0}, {'S', 2, {0x08, 0x07}, 0}, {'U', 1, {0x0B, 0x00}, 0}, {'U', 1, {0x0C, 0x00}, 0},  // 0C
    {'U', 1, {0x0D, 0x00}, 0}, {'U', 1, {0x0E, 0x00}, 0}, {'U', 1, {0x0F, 0x00}, 0}, {'U', 1, {0x10, 0x00}, 0},  // 10
    {'U', 1, {0x11, 0x00}, 0}, {'U', 1, {0x12, 0x00}, 0}, {'U', 1, {0x13, 0x00}, 0}, {'U', 1, {0x14, 0x00}, 0},  // 14
    {'U', 1, {0x15, 0x00}, 0}, {'U', 1, {0x16, 0x00}, 0}, {'U', 1, {0x17, 0x00}, 0}, {'U', 1, {0x18, 0x00}, 0},  // 18
    {'U', 1, {0x19, 0x00}, 0}, {'U', 1, {0x1A, 0x00}, 0}, {'U', 1, {0x1B, 0x00}, 0}, {'U', 1, {0x1C, 0x00}, 0},  // 1C
    {'S', 1, {0x07, 0x00}, 0}, {'S', 1, {0x09, 0x00}, 0}, {'S', 1, {0x0A, 0x00}, 0}, {'S', 1, {0x0C, 0x00}, 0},  // 20
    {'S', 1, {0x0E, 0x00}, 0}, {'S', 1, {0x10, 0x00}, 0}, {'S', 1, {0x12, 0x00}, 0}, {'U', 1, {0x80, 0x00}, 0},  // 24
    {'S', 1, {0x14, 0x00}, 0}, {'S', 1, {0x16, 0x00}, 0}, {'S', 1, {0x18, 0x00}, 0}, {'S', 1, {0x2C, 0x00}, 0},  // 28
    {'S', 1, {0x1A, 0x00}, 0}, {'U', 1, {0x82, 0x00}, 0}, {'S', 1, {0x1C, 0x00}, 0}, {'S', 1, {0x1E, 0x00}, 0},  // 2C
    {'S', 1, {0x36, 0x00}, 0}, {'S', 1, {0x38, 0x00}, 0}, {'S', 1, {0x3A, 0x00}, 0}, {'S', 1, {0x3C, 0x00}, 0},  // 30
    {'S', 1, {0x3E, 0x00}, 0}, {'S', 1, {0x40, 0x00}, 0}, {'S', 1, {0x42, 0x00}, 0}, {'S', 1, {0x44, 0x00}, 0},  // 34
    {'S', 1, {0x46, 0x00}, 0}, {'S', 1, {0x48, 0x00}, 0}, {'S', 1, {0x20, 0x00}, 0}, {'S', 1, {0x22, 0x00}, 0},  // 38
    {'S', 1, {0x2E, 0x00}, 0}, {'S', 1, {0x30, 0x00}, 0}, {'S', 1, {0x32, 0x00}, 0}, {'S', 1, {0x24, 0x00}, 0},  // 3C
    {'S', 1, {0x26, 0x00}, 0}, {'S', 1, {0x4A, 0x00}, 0}, {'S', 1, {0x4C, 0x00}, 0}, {'S', 1, {0x4D, 0x00}, 0},  // 40
    {'S', 1, {0x4F, 0x00}, 0}, {'S', 1, {0x51, 0x00}, 0}, {'S', 1, {0x53, 0x00}, 0}, {'S', 1, {0x55, 0x00}, 0},  // 44
    {'S', 1, {0x57, 0x00}, 0}, {'S', 1, {0x59, 0x00}, 0}, {'S', 1, {0x5B, 0x00}, 0}, {'S', 1, {0x5C, 0x00}, 0},  // 48
    {'S', 1, {0x5E, 0x00}, 0}, {'S', 1, {0x60, 0x00}, 0}, {'S', 1, {0x62, 0x00}, 0}, {'S', 1, {0x64, 0x00}, 0},  // 4C
    {'S', 1, {0x66, 0x00}, 0}, {'S', 1, {0x68, 0x00}, 0}, {'S', 1, {0x69, 0x00}, 0}, {'S', 1, {0x6B, 0x00}, 0},  // 50
    {'S', 1, {0x6D, 0x00}, 0}, {'S', 1, {0x6F, 0x00}, 0}, {'S', 1, {0x71, 0x00}, 0}, {'S', 1, {0x73, 0x00}, 0},  // 54
    {'S', 1, {0x75, 0x00}, 0}, {'S', 1, {0x76, 0x00}, 0}, {'S', 1, {0x78, 0x00}, 0}, {'S', 1, {0x27, 0x00}, 0},  // 58
    {'S', 1, {0x29, 0x00}, 0}, {'S', 1, {0x2A, 0x00}, 0}, {'S', 2, {0x2B, 0x02}, 0}, {'S', 2, {0x2B, 0x03}, 0},  // 5C
    {'S', 2, {0x2B, 0x07}, 0}, {'S', 1, {0x4A, 0x00}, 0}, {'S', 1, {0x4C, 0x00}, 0}, {'S', 1, {0x4D, 0x00}, 0},  // 60
    {'S', 1, {0x4F, 0x00}, 0}, {'S', 1, {0x51, 0x00}, 0}, {'S', 1, {0x53, 0x00}, 0}, {'S', 1, {0x55, 0x00}, 0},  // 64
    {'S', 1, {0x57, 0x00}, 0}, {'S', 1, {0x59, 0x00}, 0}, {'S', 1, {0x5B, 0x00}, 0}, {'S', 1, {0x5C, 0x00}, 0},  // 68
    {'S', 1, {0x5E, 0x00}, 0}, {'S', 1, {0x60, 0x00}, 0}, {'S', 1, {0x62, 0x00}, 0}, {'S', 1, {0x64, 0x00}, 0},  // 6C
    {'S', 1, {0x66, 0x00}, 0}, {'S', 1, {0x68, 0x00}, 0}, {'S', 1, {0x69, 0x00}, 0}, {'S', 1, {0x6B, 0x00}, 0},  // 70
    {'S', 1, {0x6D, 0x00}, 0}, {'S', 1, {0x6F, 0x00}, 0}, {'S', 1, {0x71, 0x00}, 0}, {'S', 1, {0x73, 0x00}, 0},  // 74
    {'S', 1, {0x75, 0x00}, 0}, {'S', 1, {0x76, 0x00}, 0}, {'S', 1, {0x78, 0x00}, 0}, {'S', 2, {0x2B, 0x09}, 0},  // 78
    {'S', 2, {0x2B, 0x0B}, 0}, {'S', 2, {0x2B, 0x0D}, 0}, {'S', 2, {0x2B, 0x0F}, 0}, {'U', 1, {0x1D, 0x00}, 0},  // 7C
    {'U', 1, {0x1E, 0x00}, 0}, {'U', 1, {0x1F, 0x00}, 0}, {'U', 1, {0x20, 0x00}, 0}, {'U', 1, {0x21, 0x00}, 0},  // 80
    {'U', 1, {0x22, 0x00}, 0}, {'U', 1, {0x23, 0x00}, 0}, {'U', 1, {0x24, 0x00}, 0}, {'U', 1, {0x25, 0x00}, 0},  // 84
    {'U', 1, {0x26, 0x00}, 0}, {'U', 1, {0x27, 0x00}, 0}, {'U', 1, {0x28, 0x00}, 0}, {'U', 1, {0x29, 0x00}, 0},  // 88
    {'U', 1, {0x2A, 0x00}, 0}, {'U', 1, {0x2B, 0x00}, 0}, {'U', 1, {0x2C, 0x00}, 0}, {'U', 1, {0x2D, 0x00}, 0},  // 8C
    {'U', 1, {0x2E, 0x00}, 0}, {'U', 1, {0x2F, 0x00}, 0}, {'U', 1, {0x30, 0x00}, 0}, {'U', 1, {0x31, 0x00}, 0},  // 90
    {'U', 1, {0x32, 0x00}, 0}, {'U', 1, {0x33, 0x00}, 0}, {'U', 1, {0x34, 0x00}, 0}, {'U', 1, {0x35, 0x00}, 0},  // 94
    {'U', 1, {0x36, 0x00}, 0}, {'U', 1, {0x37, 0x00}, 0}, {'U', 1, {0x38, 0x00}, 0}, {'U', 1, {0x39, 0x00}, 0},  // 98
    {'U', 1, {0x3A, 0x00}, 0}, {'U', 1, {0x3B, 0x00}, 0}, {'U', 1, {0x3C, 0x00}, 0}, {'U', 1, {0x3D, 0x00}, 0},  // 9C
    {'S', 2, {0x08, 0x02}, 0}, {'S', 2, {0x2B, 0x10}, 0}, {'S', 2, {0x34, 0xA6}, 0}, {'S', 2, {0x34, 0xA7}, 0},  // A0
    {'S', 2, {0x34, 0xA8}, 0}, {'S', 2, {0x34, 0xA9}, 0}, {'S', 2, {0x2B, 0x11}, 0}, {'S', 2, {0x34, 0xAA}, 0},  // A4
    {'S', 2, {0x2B, 0x12}, 0}, {'S', 2, {0x34, 0xAB}, 0}, {'I', 1, {0x4A, 0x00}, 0x03}, {'S', 2, {0x33, 0x05}, 0},  // A8
    {'S', 2, {0x34, 0xAC}, 0}, {'U', 1, {0x83, 0x00}, 0}, {'S', 2, {0x34, 0xAD}, 0}, {'S', 2, {0x2B, 0x13}, 0},  // AC
    {'S', 2, {0x34, 0xAE}, 0}, {'S', 2, {0x33, 0x04}, 0}, {'S', 1, {0x3A, 0x00}, 0}, {'S', 1, {0x3C, 0x00}, 0},  // B0
    {'S', 2, {0x2B, 0x14}, 0}, {'S', 2, {0x34, 0xAF}, 0}, {'S', 2, {0x34, 0xB0}, 0}, {'S', 2, {0x34, 0xB1}, 0},  // B4
    {'S', 2, {0x2B, 0x15}, 0}, {'S', 1, {0x38, 0x00}, 0}, {'I', 1, {0x64, 0x00}, 0x03}, {'S', 2, {0x33, 0x07}, 0},  // B8
    {'S', 2, {0x37, 0x12}, 0}, {'S', 2, {0x37, 0x16}, 0}, {'S', 2, {0x37, 0x1A}, 0}, {'S', 2, {0x2B, 0x16}, 0},  // BC
    {'I', 1, {0x4A, 0x00}, 0x0F}, {'I', 1, {0x4A, 0x00}, 0x0E}, {'I', 1, {0x4A, 0x00}, 0x12}, {'I', 1, {0x4A, 0x00}, 0x19},  // C0
    {'I', 1, {0x4A, 0x00}, 0x13}, {'I', 1, {0x4A, 0x00}, 0x1A}, {'S', 2, {0x4A, 0x51}, 0}, {'I', 1, {0x4D, 0x00}, 0x1C},  // C4
    {'I', 1, {0x51, 0x00}, 0x0F}, {'I', 1, {0x51, 0x00}, 0x0E}, {'I', 1, {0x51, 0x00}, 0x12}, {'I', 1, {0x51, 0x00}, 0x13},  // C8
    {'I', 1, {0x59, 0x00}, 0x0F}, {'I', 1, {0x59, 0x00}, 0x0E}, {'I', 1, {0x59, 0x00}, 0x12}, {'I', 1, {0x59, 0x00}, 0x13},  // CC
    {'I', 1, {0x4F, 0x00}, 0x68}, {'I', 1, {0x62, 0x00}, 0x19}, {'I', 1, {0x64, 0x00}, 0x0F}, {'I', 1, {0x64, 0x00}, 0x0E},  // D0
    {'I', 1, {0x64, 0x00}, 0x12}, {'I', 1, {0x64, 0x00}, 0x19}, {'I', 1, {0x64, 0x00}, 0x13}, {'S', 2, {0x33, 0x09}, 0},  // D4
    {'I', 1, {0x64, 0x00}, 0x21}, {'I', 1, {0x6F, 0x00}, 0x0F}, {'I', 1, {0x6F, 0x00}, 0x0E}, {'I', 1, {0x6F, 0x00}, 0x12},  // D8
    {'I', 1, {0x6F, 0x00}, 0x13}, {'I', 1, {0x76, 0x00}, 0x0E}, {'S', 2, {0x6D, 0x57}, 0}, {'S', 2, {0x6B, 0x6B}, 0},  // DC
    {'I', 1, {0x4A, 0x00}, 0x0F}, {'I', 1, {0x4A, 0x00}, 0x0E}, {'I', 1, {0x4A, 0x00}, 0x12}, {'I', 1, {0x4A, 0x00}, 0x19},  // E0
    {'I', 1, {0x4A, 0x00}, 0x13}, {'I', 1, {0x4A, 0x00}, 0x1A}, {'S', 2, {0x4A, 0x51}, 0}, {'I', 1, {0x4D, 0x00}, 0x1C},  // E4
    {'I', 1, {0x51, 0x00}, 0x0F}, {'I', 1, {0x51, 0x00}, 0x0E}, {'I', 1, {0x51, 0x00}, 0x12}, {'I', 1, {0x51, 0x00}, 0x13},  // E8
    {'I', 1, {0x59, 0x00}, 0x0F}, {'I', 1, {0x59, 0x00}, 0x0E}, {'I', 1, {0x59, 0x00}, 0x12}, {'I', 1, {0x59, 0x00}, 0x13},  // EC
    {'I', 1, {0x4F, 0x00}, 0x68}, {'I', 1, {0x62, 0x00}, 0x19}, {'I', 1, {0x64, 0x00}, 0x0F}, {'I', 1, {0x64, 0x00}, 0x0E},  // F0
    {'I', 1, {0x64, 0x00}, 0x12}, {'I', 1, {0x64, 0x00}, 0x19}, {'I', 1, {0x64, 0x00}, 0x13}, {'S', 2, {0x33, 0x0A}, 0},  // F4
    {'I', 1, {0x64, 0x00}, 0x21}, {'I', 1, {0x6F, 0x00}, 0x0F}, {'I', 1, {0x6F, 0x00}, 0x0E}, {'I', 1, {0x6F, 0x00}, 0x12},  // F8
    {'I', 1, {0x6F, 0x00}, 0x13}, {'I', 1, {0x76, 0x00}, 0x0E}, {'S', 2, {0x6D, 0x57}, 0}, {'I', 1, {0x76, 0x00}, 0x13},  // FC
};
// clang-format on

constexpr std::uint8_t kEndText = 0x01;
constexpr std::uint8_t kEndExtraText = 0x00;
constexpr std::uint8_t kExtraPlaceholder = 0x02;
constexpr std::uint8_t kUnprintableMidfix = 0x06;

}  // namespace

namespace {

// The part of a text that its key is made of.
std::u16string_view KeyPart(std::u16string_view text) {
    if (text.size() > static_cast<std::size_t>(kMaxTextChars)) text = text.substr(0, kMaxTextChars);
    while (!text.empty() && text.back() == u' ') text.remove_suffix(1);
    return text;
}

}  // namespace

bool HasSortCode(char32_t c) {
    return c <= 0xFF;
}

std::optional<char32_t> FirstUnsortable(std::u16string_view text) {
    text = KeyPart(text);
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF)
            c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
        if (!HasSortCode(c)) return c;
    }
    return std::nullopt;
}

bool AppendTextKey(std::u16string_view text, ByteVec& out) {
    text = KeyPart(text);

    ByteVec extra;  // accent codes, one per character that has sort bytes
    std::size_t extraChars = 0;
    bool haveExtra = false;
    ByteVec unprintable;  // (position, 06, code) per unprintable character
    std::size_t sortChars = 0;
    for (char16_t c : text) {
        if (!HasSortCode(c)) return false;
        const CharCode& code = kGeneralLegacy[c];
        const std::size_t position = sortChars;
        switch (code.kind) {
            case 'S':
                out.insert(out.end(), code.bytes, code.bytes + code.count);
                ++sortChars;
                break;
            case 'I':
                out.insert(out.end(), code.bytes, code.bytes + code.count);
                ++sortChars;
                // Characters before this one without an accent get a placeholder.
                for (; extraChars < position; ++extraChars) extra.push_back(kExtraPlaceholder);
                extra.push_back(code.extra);
                ++extraChars;
                haveExtra = true;
                break;
            case 'U': {
                // The position counts the extra-code bytes that precede, as if written.
                const std::size_t at =
                    haveExtra ? extra.size() + (position - extraChars) : position;
                const unsigned offset = (7 + 4 * static_cast<unsigned>(at)) | 0x8000;
                unprintable.push_back(static_cast<std::uint8_t>(offset >> 8));
                unprintable.push_back(static_cast<std::uint8_t>(offset));
                unprintable.push_back(kUnprintableMidfix);
                unprintable.insert(unprintable.end(), code.bytes, code.bytes + code.count);
                break;
            }
            default:
                break;
        }
    }
    out.push_back(kEndText);
    // Trailing placeholders say nothing and are left out.
    while (!extra.empty() && extra.back() <= kExtraPlaceholder) extra.pop_back();
    out.insert(out.end(), extra.begin(), extra.end());
    if (!unprintable.empty()) {
        out.push_back(kEndText);
        out.push_back(kEndText);
        out.push_back(kEndText);
        out.insert(out.end(), unprintable.begin(), unprintable.end());
    }
    out.push_back(kEndExtraText);
    return true;
}

}  // namespace tb::mdb::jet
