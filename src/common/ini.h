#pragma once
// Ini files with the behaviour of the Windows profile calls: sections and keys are found in any
// case, keys keep their order and case as written, a null key deletes a section and a null value
// deletes a key. Files are read in UTF-8, code page 1252 or UTF-16 (with a byte-order mark) and
// written back in the encoding they had; new files are UTF-8. Lines end with CR LF.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/encoding.h"

namespace tb {

class IniDocument {
  public:
    IniDocument() = default;

    static IniDocument Parse(std::string_view bytes);
    // A missing or unreadable file gives an empty document. A write that a dead process left half
    // done is finished first.
    static IniDocument Load(const std::filesystem::path& file);

    std::string Serialize() const;
    // Replaces the file's bytes in place (WriteFileInPlace): links, owner and mode stay. False when
    // it cannot be written, a file without any write permission bit included.
    bool Save(const std::filesystem::path& file) const;

    bool HasSection(std::string_view section) const;
    // The first occurrence of the key wins; quotes around a value are removed as Windows does.
    std::optional<std::string> Get(std::string_view section, std::string_view key) const;
    void Set(std::string_view section, std::string_view key, std::string_view value);
    bool RemoveKey(std::string_view section, std::string_view key);
    bool RemoveSection(std::string_view section);

    std::vector<std::string> SectionNames() const;
    std::vector<std::string> Keys(std::string_view section) const;
    std::vector<std::pair<std::string, std::string>> Entries(std::string_view section) const;

    TextEncoding encoding() const { return encoding_; }
    void set_encoding(TextEncoding encoding) { encoding_ = encoding; }

  private:
    enum class Kind { Other, Section, Key };
    struct Line {
        Kind kind = Kind::Other;
        std::string raw;    // the line as read; empty once the line was changed or made
        std::string text;   // the section name or key name
        std::string value;  // Key only
        bool hasEquals = true;
    };

    // Index of the header of the first section of that name, or npos.
    std::size_t FindSection(std::string_view section) const;
    // End of the section starting at header index: the next header or the end.
    std::size_t SectionEnd(std::size_t header) const;
    std::size_t FindKey(std::size_t header, std::string_view key) const;

    std::vector<Line> lines_;
    TextEncoding encoding_ = TextEncoding::Utf8;
};

// Per-key access to a file, as the profile calls do: every call reads the file anew.
std::string IniRead(const std::filesystem::path& file, std::string_view section,
                    std::string_view key, std::string_view defaultValue = {});
// A null key deletes the section, a null value deletes the key. False when the file cannot be
// written.
bool IniWrite(const std::filesystem::path& file, std::string_view section,
              const std::optional<std::string>& key, const std::optional<std::string>& value);
std::vector<std::string> IniSectionNames(const std::filesystem::path& file);
std::vector<std::string> IniSectionKeys(const std::filesystem::path& file,
                                        std::string_view section);
// An ini flag: the number at the start of the value, set when it equals 1.
bool IniFlag(const std::filesystem::path& file, std::string_view section, std::string_view key,
             std::string_view defaultValue = "0");

}  // namespace tb
