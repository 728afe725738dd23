#include "shell/passwords.h"

#include <sodium.h>

#include <array>
#include <stdexcept>
#include <vector>

#include "common/ini.h"
#include "common/md5.h"
#include "common/text.h"
#include "shell/log_file.h"

namespace tb::shell {
namespace {

constexpr std::string_view kPassPhrase = "Nimbrel8";
constexpr std::string_view kMark = "|||";

const std::array<unsigned char, crypto_secretbox_KEYBYTES>& Key() {
    static const auto key = [] {
        if (sodium_init() < 0) throw std::runtime_error("libsodium cannot start");
        std::array<unsigned char, crypto_secretbox_KEYBYTES> k{};
        crypto_generichash(k.data(), k.size(),
                           reinterpret_cast<const unsigned char*>(kPassPhrase.data()),
                           kPassPhrase.size(), nullptr, 0);
        return k;
    }();
    return key;
}

}  // namespace

std::string EncipherPassword(std::string_view password) {
    const auto& key = Key();
    std::vector<unsigned char> box(crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES +
                                   password.size());
    unsigned char* nonce = box.data();
    randombytes_buf(nonce, crypto_secretbox_NONCEBYTES);
    crypto_secretbox_easy(box.data() + crypto_secretbox_NONCEBYTES,
                          reinterpret_cast<const unsigned char*>(password.data()), password.size(),
                          nonce, key.data());
    std::string b64(sodium_base64_encoded_len(box.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
    sodium_bin2base64(b64.data(), b64.size(), box.data(), box.size(),
                      sodium_base64_VARIANT_ORIGINAL);
    b64.resize(b64.find('\0'));
    return std::string(kMark) + b64;
}

std::optional<std::string> DecipherPassword(std::string_view stored) {
    if (stored.substr(0, kMark.size()) != kMark) return std::nullopt;
    const std::string_view b64 = stored.substr(kMark.size());
    if (b64.empty()) return std::nullopt;
    std::vector<unsigned char> box(b64.size());
    std::size_t len = 0;
    if (sodium_base642bin(box.data(), box.size(), b64.data(), b64.size(), nullptr, &len, nullptr,
                          sodium_base64_VARIANT_ORIGINAL) != 0 ||
        len < crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES)
        return std::nullopt;
    const auto& key = Key();
    std::string plain(len - crypto_secretbox_NONCEBYTES - crypto_secretbox_MACBYTES, '\0');
    if (crypto_secretbox_open_easy(reinterpret_cast<unsigned char*>(plain.data()),
                                   box.data() + crypto_secretbox_NONCEBYTES,
                                   len - crypto_secretbox_NONCEBYTES, box.data(), key.data()) != 0)
        return std::nullopt;
    return plain;
}

std::string PasswordKeyForSite(std::string_view siteIniPath) {
    return CMD5::DigestStrToHexStr(ToLowerAscii(siteIniPath));
}

void SaveStoredPassword(const std::filesystem::path& file, std::string_view section,
                        std::string_view key, std::string_view password) {
    IniWrite(
        file, section, std::string(key),
        password.empty() ? std::nullopt : std::optional<std::string>(EncipherPassword(password)));
}

std::optional<std::string> ReadStoredPassword(const std::filesystem::path& file,
                                              std::string_view section, std::string_view key,
                                              bool plainTextCounts) {
    const auto value = IniDocument::Load(file).Get(section, key);
    if (!value || value->empty()) return std::nullopt;
    if (value->substr(0, kMark.size()) != kMark)
        return plainTextCounts ? std::optional<std::string>(*value) : std::nullopt;
    if (auto plain = DecipherPassword(*value)) return plain;
    LogLine("The stored password of key " + std::string(key) + " in section " +
            std::string(section) + " cannot be read; it counts as not stored");
    return std::nullopt;
}

}  // namespace tb::shell
