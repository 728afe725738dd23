#pragma once
// The attribute keys of a run: every category section of the attribute configuration, read once
// and held in file order. The builders take them from here instead of reading the file anew.

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tb::extraction {

class AttributeKeys {
  public:
    AttributeKeys() = default;
    // The sections of every category name the configuration may hold; empty keys are skipped and
    // a key repeated in its section (ignoring case) is taken once.
    static AttributeKeys Load(const std::filesystem::path& attributeIni);

    // Replaces the keys of a category (tests; a run that changes its configuration).
    void Set(std::string_view category, std::vector<std::string> keys);

    // The keys of a category in file order; none when it has no section or no keys.
    const std::vector<std::string>& Keys(std::string_view category) const;
    // Whether the category holds the key, ignoring case.
    bool Has(std::string_view category, std::string_view key) const;
    // Whether a key of the category, in lower case, is like the pattern (* ? # [..] as VB's Like).
    bool AnyLike(std::string_view category, std::string_view lowerPattern) const;
    // The same over every category.
    bool AnyLike(std::string_view lowerPattern) const;
    // The number of keys over all categories.
    std::size_t Count() const;

  private:
    std::vector<std::pair<std::string, std::vector<std::string>>> categories_;
};

// Leaves out every key whose output column Access cannot name: a column part (behind the first
// ".") holding ". ! ` [ ]" or a control character. One log line per key names it and the
// character, and the run goes on without it. '"', "'" and blanks are allowed in Access names.
// Returns the keys left out, each once.
std::vector<std::string> LeaveOutKeysAccessCannotName(AttributeKeys& keys);

// The configured keys the run has named as left out, so that a later check names none twice.
// A run forgets them at its start.
void LogKeyLeftOut(std::string_view key, std::string_view category, std::string_view reason);
void RememberKeyLeftOut(std::string_view key, std::string_view category);
bool KeyLeftOut(std::string_view key, std::string_view category);
void ForgetKeysLeftOut();

// The log line of a configured key left out because its plant table lacks the column it names;
// the run goes on without it.
std::string MissingColumnLine(std::string_view key, std::string_view category,
                              std::string_view table, std::string_view column);

// The character of `name` that Access does not allow in a name, as a log line names it ("']'",
// "a control character"); empty when Access allows every character of it.
std::string ForbiddenInAccessName(std::string_view name);

// Whether `names` holds `name`, ignoring case (column lists of tables).
bool HasName(const std::vector<std::string>& names, std::string_view name);
// The spelling `names` holds for `name`, ignoring case; empty when absent.
std::string FindName(const std::vector<std::string>& names, std::string_view name);

}  // namespace tb::extraction
