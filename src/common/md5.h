#pragma once
// MD5 digests as lower-case hex text (nettle does the hashing).

#include <filesystem>
#include <string>
#include <string_view>

namespace tb {

class CMD5 {
  public:
    static std::string DigestStrToHexStr(std::string_view text);
    // Raises error 53 when the file cannot be read.
    static std::string DigestFileToHexStr(const std::filesystem::path& file);
};

}  // namespace tb
