#include "common/md5.h"

#include <nettle/md5.h>

#include <array>
#include <fstream>

#include "common/error.h"

namespace tb {
namespace {

std::string Hex(const std::array<std::uint8_t, MD5_DIGEST_SIZE>& digest) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(digest.size() * 2);
    for (auto b : digest) {
        out += kHex[b >> 4];
        out += kHex[b & 15];
    }
    return out;
}

}  // namespace

std::string CMD5::DigestStrToHexStr(std::string_view text) {
    md5_ctx ctx;
    md5_init(&ctx);
    md5_update(&ctx, text.size(), reinterpret_cast<const std::uint8_t*>(text.data()));
    std::array<std::uint8_t, MD5_DIGEST_SIZE> digest{};
    md5_digest(&ctx, digest.size(), digest.data());
    return Hex(digest);
}

std::string CMD5::DigestFileToHexStr(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw Error(kErrFileNotFound, "File not found: " + file.string(), "DigestFileToHexStr");
    md5_ctx ctx;
    md5_init(&ctx);
    std::array<char, 65536> buffer{};
    while (in) {
        in.read(buffer.data(), buffer.size());
        const auto got = in.gcount();
        if (got > 0)
            md5_update(&ctx, static_cast<std::size_t>(got),
                       reinterpret_cast<const std::uint8_t*>(buffer.data()));
    }
    std::array<std::uint8_t, MD5_DIGEST_SIZE> digest{};
    md5_digest(&ctx, digest.size(), digest.data());
    return Hex(digest);
}

}  // namespace tb
