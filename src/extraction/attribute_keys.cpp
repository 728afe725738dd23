#include "extraction/attribute_keys.h"

#include "attributes/categories.h"
#include "common/ini.h"
#include "common/text.h"

namespace tb::extraction {

AttributeKeys AttributeKeys::Load(const std::filesystem::path& attributeIni) {
    const IniDocument doc = IniDocument::Load(attributeIni);
    AttributeKeys out;
    for (const std::string& category : attributes::AllCategoryNames()) {
        std::vector<std::string> keys;
        for (std::string& key : doc.Keys(category))
            if (!TrimBlanks(key).empty()) keys.push_back(std::move(key));
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
