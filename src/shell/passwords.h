#pragma once
// Stored database passwords in "General.ini". A value is "|||" followed by the standard base64 of
// a random nonce and the password sealed with libsodium's secretbox under a key derived from the
// program's fixed pass phrase. Since the pass phrase ships with the program this only keeps
// passwords from being read at a glance; it is not protection against someone who has the program.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tb::shell {

std::string EncipherPassword(std::string_view password);
// nullopt when the text is not one of ours (for instance written by the Windows product).
std::optional<std::string> DecipherPassword(std::string_view stored);

// The key of a site's stored passwords: the MD5 digest of the lower-cased site ini path.
std::string PasswordKeyForSite(std::string_view siteIniPath);

// An empty password deletes the key.
void SaveStoredPassword(const std::filesystem::path& file, std::string_view section,
                        std::string_view key, std::string_view password);
// nullopt when nothing usable is stored; a "|||" value that does not decipher is logged by its key.
// A value without the mark is a plain password where `plainTextCounts` (section "DB"), else none.
std::optional<std::string> ReadStoredPassword(const std::filesystem::path& file,
                                              std::string_view section, std::string_view key,
                                              bool plainTextCounts = false);

}  // namespace tb::shell
