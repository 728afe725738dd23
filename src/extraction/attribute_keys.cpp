#include "extraction/attribute_keys.h"

#include <unordered_set>

#include "attributes/categories.h"
#include "common/ini.h"
#include "common/log.h"
#include "common/text.h"
#include "store/store.h"

namespace tb::extraction {

AttributeKeys AttributeKeys::Load(const std::filesystem::path& attributeIni) {
    const IniDocument doc = IniDocument::Load(attributeIni);
    AttributeKeys out;
    for (const std::string& category : attributes::AllCategoryNames()) {
        // A key written twice in a section is one attribute, as an ini look-up finds it: each
        // repeat would cost the chains a join that adds nothing.
        std::unordered_set<std::string> seen;
        std::vector<std::string> keys;
        for (std::string& key : doc.Keys(category))
            if (!TrimBlanks(key).empty() && seen.insert(ToLowerAscii(key)).second)
                keys.push_back(std::move(key));
        out.Set(category, std::move(keys));
    }
    return out;
}

void AttributeKeys::Set(std::string_view category, std::vector<std::string> keys) {
    for (auto& [name, list] : categories_) {
        if (IEquals(name, category)) {
            list = std::move(keys);
            return;
        }
    }
    categories_.emplace_back(std::string(category), std::move(keys));
}

const std::vector<std::string>& AttributeKeys::Keys(std::string_view category) const {
    static const std::vector<std::string> none;
    for (const auto& [name, list] : categories_)
        if (IEquals(name, category)) return list;
    return none;
}

bool AttributeKeys::Has(std::string_view category, std::string_view key) const {
    return HasName(Keys(category), key);
}

bool AttributeKeys::AnyLike(std::string_view category, std::string_view lowerPattern) const {
    for (const std::string& key : Keys(category))
        if (Like(ToLowerAscii(key), lowerPattern)) return true;
    return false;
}

bool AttributeKeys::AnyLike(std::string_view lowerPattern) const {
    for (const auto& entry : categories_)
        if (AnyLike(entry.first, lowerPattern)) return true;
    return false;
}

std::size_t AttributeKeys::Count() const {
    std::size_t n = 0;
    for (const auto& entry : categories_) n += entry.second.size();
    return n;
}

std::vector<std::string> LeaveOutKeysAccessCannotName(AttributeKeys& keys) {
    std::vector<std::string> leftOut;
    for (const std::string& category : attributes::AllCategoryNames()) {
        std::vector<std::string> kept;
        bool changed = false;
        for (const std::string& key : keys.Keys(category)) {
            // Every output name of a key is made of its column part (the alias, "Drawing_<col>" of
            // the drawing columns, "End_<n>_<col>"...), so that part is what must be a name.
            const auto dot = key.find('.');
            const std::string what =
                ForbiddenInAccessName(dot == std::string::npos ? key : key.substr(dot + 1));
            if (what.empty()) {
                kept.push_back(key);
                continue;
            }
            changed = true;
            if (HasName(leftOut, key)) continue;
            leftOut.push_back(key);
            LogLine("The attribute " + key + " is left out: Access does not allow " + what +
                    " in a column name.");
        }
        if (changed) keys.Set(category, std::move(kept));
    }
    return leftOut;
}

namespace {
std::unordered_set<std::string>& KeysLeftOut() {
    static std::unordered_set<std::string> keys;
    return keys;
}
std::string LeftOutEntry(std::string_view key, std::string_view category) {
    return ToLowerAscii(std::string(category) + "\x1f" + std::string(key));
}
}  // namespace

void LogKeyLeftOut(std::string_view key, std::string_view category, std::string_view reason) {
    if (KeyLeftOut(key, category)) return;
    RememberKeyLeftOut(key, category);
    LogLine("The attribute " + std::string(key) + " of " + std::string(category) +
            " is left out: " + std::string(reason) + ".");
}

void RememberKeyLeftOut(std::string_view key, std::string_view category) {
    KeysLeftOut().insert(LeftOutEntry(key, category));
}

bool KeyLeftOut(std::string_view key, std::string_view category) {
    return KeysLeftOut().count(LeftOutEntry(key, category)) > 0;
}

void ForgetKeysLeftOut() {
    KeysLeftOut().clear();
}

std::string MissingColumnLine(std::string_view key, std::string_view category,
                              std::string_view table, std::string_view column) {
    return "The attribute " + std::string(key) + " of " + std::string(category) +
           " is left out: the plant table " + std::string(table) + " has no column " +
           std::string(column) + ".";
}

std::string ForbiddenInAccessName(std::string_view name) {
    const auto c = store::ForbiddenNameCharacter(name);
    if (!c) return {};
    if (static_cast<unsigned char>(*c) < 0x20) return "a control character";
    return "'" + std::string(1, *c) + "'";
}

bool HasName(const std::vector<std::string>& names, std::string_view name) {
    for (const std::string& n : names)
        if (IEquals(n, name)) return true;
    return false;
}

std::string FindName(const std::vector<std::string>& names, std::string_view name) {
    for (const std::string& n : names)
        if (IEquals(n, name)) return n;
    return {};
}

}  // namespace tb::extraction
