#include "zip_storage.h"

#include <zlib.h>

#include "common/error.h"

namespace tb::sampleplant {
namespace {

void Put16(std::vector<std::uint8_t>& out, std::uint32_t v) {
    out.push_back(static_cast<std::uint8_t>(v & 0xFF));
    out.push_back(static_cast<std::uint8_t>((v >> 8) & 0xFF));
}

void Put32(std::vector<std::uint8_t>& out, std::uint32_t v) {
    Put16(out, v & 0xFFFF);
    Put16(out, v >> 16);
}

std::string Deflate(const std::string& data) {
    z_stream zs{};
    // Raw deflate (no zlib header), as ZIP stores it.
    if (deflateInit2(&zs, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw Error(kErrInternal, "deflateInit2 failed", "MakeZip");
    }
    std::string out(deflateBound(&zs, static_cast<uLong>(data.size())), '\0');
    zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    zs.avail_in = static_cast<uInt>(data.size());
    zs.next_out = reinterpret_cast<Bytef*>(out.data());
    zs.avail_out = static_cast<uInt>(out.size());
    const int rc = deflate(&zs, Z_FINISH);
    out.resize(zs.total_out);
    deflateEnd(&zs);
    if (rc != Z_STREAM_END) throw Error(kErrInternal, "deflate failed", "MakeZip");
    return out;
}

}  // namespace

std::vector<std::uint8_t> MakeZip(const std::vector<ZipEntry>& entries, std::uint16_t dosDate,
                                  std::uint16_t dosTime) {
    std::vector<std::uint8_t> out;
    std::vector<std::uint8_t> central;
    for (const auto& entry : entries) {
        const std::string packed = Deflate(entry.content);
        const auto crc = static_cast<std::uint32_t>(
            crc32(0L, reinterpret_cast<const Bytef*>(entry.content.data()),
                  static_cast<uInt>(entry.content.size())));
        const auto offset = static_cast<std::uint32_t>(out.size());
        const auto nameLen = static_cast<std::uint32_t>(entry.name.size());
        // Local file header.
        Put32(out, 0x04034B50);
        Put16(out, 20);  // version needed: deflate
        Put16(out, 0);   // flags
        Put16(out, 8);   // method: deflate
        Put16(out, dosTime);
        Put16(out, dosDate);
        Put32(out, crc);
        Put32(out, static_cast<std::uint32_t>(packed.size()));
        Put32(out, static_cast<std::uint32_t>(entry.content.size()));
        Put16(out, nameLen);
        Put16(out, 0);
        out.insert(out.end(), entry.name.begin(), entry.name.end());
        out.insert(out.end(), packed.begin(), packed.end());
        // Its central directory record.
        Put32(central, 0x02014B50);
        Put16(central, 20);  // made by
        Put16(central, 20);
        Put16(central, 0);
        Put16(central, 8);
        Put16(central, dosTime);
        Put16(central, dosDate);
        Put32(central, crc);
        Put32(central, static_cast<std::uint32_t>(packed.size()));
        Put32(central, static_cast<std::uint32_t>(entry.content.size()));
        Put16(central, nameLen);
        Put16(central, 0);  // extra
        Put16(central, 0);  // comment
        Put16(central, 0);  // disk
        Put16(central, 0);  // internal attributes
        Put32(central, 0);  // external attributes
        Put32(central, offset);
        central.insert(central.end(), entry.name.begin(), entry.name.end());
    }
    const auto centralOffset = static_cast<std::uint32_t>(out.size());
    out.insert(out.end(), central.begin(), central.end());
    Put32(out, 0x06054B50);
    Put16(out, 0);
    Put16(out, 0);
    Put16(out, static_cast<std::uint32_t>(entries.size()));
    Put16(out, static_cast<std::uint32_t>(entries.size()));
    Put32(out, static_cast<std::uint32_t>(central.size()));
    Put32(out, centralOffset);
    Put16(out, 0);
    return out;
}

std::string XmlEscape(std::string_view text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&apos;";
                break;
            case '\r':
                out += "&#13;";
                break;
            case '\n':
                out += "&#10;";
                break;
            case '\t':
                out += "&#9;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

}  // namespace tb::sampleplant
