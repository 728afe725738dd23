#include "extraction/column_alias.h"

#include "common/text.h"

namespace tb::extraction {
namespace {

constexpr OwnerSuffix kOwners[] = {
    {"_nozzle", "Nozzle_"},       {"_equipment", "Equipment_"},   {"_piperun", "PipeRun_"},
    {"_ductrun", "DuctRun_"},     {"_inlinecomp", "InlineComp_"}, {"_instrument", "Instrument_"},
    {"_instrloop", "Instrloop_"},
};

// "." becomes "_", the leading two characters go, the first letter alone stays capital.
std::string TableStyle(std::string_view key) {
    std::string s = ReplaceAll(key, ".", "_");
    s = s.size() > 2 ? s.substr(2) : std::string();
    s = ToLowerAscii(s);
    if (!s.empty()) s[0] = ToUpperAscii(s.substr(0, 1))[0];
    return s;
}

std::string_view AfterFirstDot(std::string_view key) {
    const auto dot = key.find('.');
    return dot == std::string_view::npos ? std::string_view() : key.substr(dot + 1);
}

std::string Alias(std::string_view key) {
    const std::string lower = ToLowerAscii(key);
    if (lower.starts_with("t_drawing.")) return TableStyle(key);
    if (lower.starts_with("others")) {
        const auto dot = key.find('.');
        return dot == std::string_view::npos ? std::string() : std::string(key.substr(dot + 1));
    }
    for (const auto& owner : kOwners) {
        if (lower.ends_with(owner.suffix)) {
            const std::string_view column = AfterFirstDot(key);
            return std::string(owner.prefix) +
                   std::string(column.substr(0, column.size() >= owner.suffix.size()
                                                    ? column.size() - owner.suffix.size()
                                                    : 0));
        }
    }
    if (lower.starts_with("t_plantgroup.")) return std::string(AfterFirstDot(key));
    if (lower.starts_with("t_pipingpoint."))
        return "End" + ReplaceAllI(AfterFirstDot(key), "pipingpoint", "");
    return TableStyle(key);
}

}  // namespace

const OwnerSuffix* OwnerSuffixes(std::size_t& count) {
    count = std::size(kOwners);
    return kOwners;
}

std::string GetColumnAlias(std::string_view key, std::string_view hint) {
    std::string alias = Alias(key);
    if (!hint.empty()) {
        if (const auto at = IFind(alias, hint); at != std::string::npos)
            alias.replace(at, hint.size(), hint);
    }
    return alias;
}

std::string ShortenAlias(std::string_view alias) {
    if (alias.size() > 30) {
        if (const auto underscore = alias.find('_'); underscore != std::string_view::npos)
            return std::string(alias.substr(underscore + 1));
    }
    return std::string(alias);
}

std::string DrawingColumnOfAlias(std::string_view alias,
                                 const std::vector<std::string>& drawingColumns) {
    for (const std::string& column : drawingColumns)
        if (IEquals(ShortenAlias("Drawing_" + column), alias)) return column;
    return {};
}

std::string StripSuffix(std::string_view name, std::string_view suffix,
                        std::string_view replacement) {
    if (!suffix.empty() && IEndsWith(name, suffix))
        return std::string(name.substr(0, name.size() - suffix.size())) + std::string(replacement);
    return std::string(name);
}

}  // namespace tb::extraction
