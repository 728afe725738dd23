#include "attributes/catalogue.h"

#include <algorithm>
#include <set>

#include "attributes/catalogue_rules.h"
#include "attributes/categories.h"
#include "attributes/config_file.h"
#include "attributes/empty_attributes.h"
#include "common/text.h"

namespace tb::attributes {

namespace {

bool Contains(const std::vector<std::string>& list, std::string_view name) {
    return std::any_of(list.begin(), list.end(),
                       [&](const std::string& s) { return IEquals(s, name); });
}

// Columns of the case tables that carry values: no ids, and no Quality, which the key names.
std::vector<std::string> CaseValueColumns(const std::vector<std::string>& columns) {
    std::vector<std::string> out;
    for (const auto& c : columns)
        if (!Like(ToLowerAscii(c), "sp*id") && !IEquals(c, "Quality")) out.push_back(c);
    return out;
}

bool IsEquipmentTable(std::string_view table) {
    for (const char* t : {"T_Equipment", "T_Vessel", "T_Mechanical", "T_Exchanger",
                          "T_EquipmentOther", "T_EquipComponent"})
        if (IEquals(table, t)) return true;
    return false;
}

class Builder {
  public:
    Builder(std::string_view category, PlantDictionary& dictionary, const CatalogueOptions& options)
        : category_(category), dict_(dictionary), options_(options) {}

    std::vector<CatalogueEntry> Build() {
        const std::string tables =
            GetTables4Category(category_, [&](std::string_view t) { return dict_.HasTable(t); });
        for (const auto& table : Split(tables, ",")) AddSourceTable(table);
        if (!IEquals(category_, "Drawings")) AddOthers();
        for (const auto& c : ComputedAttributes(category_)) Add(c.key, c.name, "", c.group);
        if (OffersCaseAttributes(category_, CaseAttributesOn())) AddCases();
        return Sorted();
    }

  private:
    void Add(std::string key, std::string name, std::string displayName, std::string_view group) {
        if (!keys_.insert(ToLowerAscii(key)).second) return;
        CatalogueEntry e;
        e.key = std::move(key);
        e.text = ShownText(name, displayName);
        e.name = std::move(name);
        e.displayName = std::move(displayName);
        e.group = std::string(group);
        entries_.push_back(std::move(e));
    }

    bool CaseAttributesOn() const {
        if (options_.caseAttributesOn) return *options_.caseAttributesOn;
        return ConfigurationHasCaseAttributes(GetProjectIniPath());
    }

    std::string Display(std::string_view table, std::string_view column, bool equipmentSide) const {
        std::string out;
        if (const auto item = dict_.ItemId(ItemNameOfTable(table)))
            out = dict_.DisplayName(column, *item);
        if (out.empty() && IEquals(category_, "Eqp_Nozzle") &&
            (equipmentSide || IsEquipmentTable(table)))
            out = dict_.EquipmentDisplayName(column);
        return out;
    }

    // The plant's columns of a source table as the catalogue starts from them; nothing when the
    // plant lacks the table.
    std::optional<std::vector<std::string>> PlantColumns(const std::string& table) {
        const std::string lower = ToLowerAscii(table);
        // The extract's plant group table is made by the run from names, not copied.
        if (lower == "t_plantgroup") return dict_.plantGroupColumns;
        const auto& plant = dict_.Columns(table);
        if (!plant) return std::nullopt;
        std::vector<std::string> columns = *plant;
        if (lower == "t_status" && IEquals(category_, "Plantitems")) {
            std::vector<std::string> id;
            for (const auto& c : columns)
                if (IEquals(c, "SP_ID")) id.push_back(c);
            columns = id;
        }
        if (options_.emptyCheck) columns = options_.emptyCheck->IgnoreEmptyColumns(table, columns);
        return columns;
    }

    std::vector<std::string> Offered(const std::string& table,
                                     std::vector<std::string> columns) const {
        std::vector<std::string> out;
        for (auto& c : columns)
            if (IsOfferedColumn(c, SideTables(category_), table, category_) && !Contains(out, c))
                out.push_back(std::move(c));
        return out;
    }

    void AddSourceTable(const std::string& table) {
        auto plant = PlantColumns(table);
        if (!plant) return;
        const std::vector<std::string> own = Offered(table, *plant);
        std::vector<std::string> all = *plant;
        for (auto& c : HandAddedColumns(table, category_))
            if (!Contains(all, c)) all.push_back(std::move(c));
        const std::vector<std::string> columns = Offered(table, all);
        const std::string lower = ToLowerAscii(table);

        if (lower == "t_pipingpoint") {
            for (const auto& c : columns) {
                if (Like(ToLowerAscii(c), "sp_*i*")) {
                    Add(lower + "." + c, c, Display(table, c, false), table);
                    continue;
                }
                for (int n = 1; n <= kPipingPoints; ++n)
                    Add(PipingPointKey(n, c), PipingPointText(n, c), Display(table, c, false),
                        table);
            }
            return;
        }
        // Instrument functions hang on the instrument in both categories that have them.
        if (lower == "t_instrfunction") {
            for (const auto& c : columns)
                Add(lower + "." + c + "_Instrument", "Instrument_" + c, Display(table, c, false),
                    table);
            return;
        }
        if (IsSideTable(category_, table)) {
            for (const Side& side : CategorySides(category_)) {
                const bool equipment = side.keySuffix == "_Equipment";
                for (const auto& c : columns)
                    Add(lower + "." + c + std::string(side.keySuffix),
                        std::string(side.textPrefix) + c, Display(table, c, equipment), table);
                if (lower != "t_plantitem") continue;
                // The item's package, test system (and safety class) are plant items too; the run
                // reads their own columns, so the computed ones have no group form.
                for (const auto form : PlantItemGroupForms(category_))
                    for (const auto& c : own)
                        Add(lower + "." + std::string(form) + c + std::string(side.keySuffix),
                            std::string(side.textPrefix) + std::string(form) + c,
                            Display(table, c, equipment), table);
            }
            return;
        }
        for (const auto& c : columns) Add(lower + "." + c, c, Display(table, c, false), table);
    }

    void AddOthers() {
        const auto& drawing = dict_.Columns("T_Drawing");
        std::vector<std::string> columns;
        if (drawing)
            for (const auto& c : *drawing)
                if (!IEquals(c, "SP_ID") && !IEquals(c, "LastModifiedDate") &&
                    !IEquals(c, "LastModifiedUser"))
                    columns.push_back(c);
        if (drawing && options_.emptyCheck)
            columns = options_.emptyCheck->IgnoreEmptyColumns("T_Drawing", columns);
        columns = Offered("T_Drawing", columns);
        columns.emplace_back("LastModifiedDate");
        columns.emplace_back("LastModifiedUser");
        for (const auto& c : columns)
            Add("Others.Drawing_" + c, "Drawing_" + c, Display("T_Drawing", c, false), "Others");
    }

    void AddCases() {
        const CaseOwner owner = CaseOwnerOf(category_);
        const auto item = dict_.ItemId(owner.item);
        std::vector<std::string> names;
        for (const auto& name : GetCasePart1(dict_)) {
            // Equipment and instruments offer only the cases their dictionary item lists; a list
            // the plant does not have leaves the names as they are.
            if (IEquals(category_, "Eqp_Nozzle") && dict_.ItemHasNames(kEquipmentItem) &&
                !dict_.ItemHasName(kEquipmentItem, name))
                continue;
            if (IEquals(category_, "Instruments") && !dict_.instrumentFunctions.empty() &&
                !Contains(dict_.instrumentFunctions, name))
                continue;
            names.push_back(name);
        }
        const std::string suffix(owner.keySuffix);
        auto add = [&](const std::string& table, const std::string& keyPart,
                       const std::string& dotted) {
            const std::string key = table + "." + keyPart + suffix;
            if (options_.emptyCheck && options_.emptyCheck->IsCaseProcessAttributeEmpty(key))
                return;
            std::string display = item ? dict_.DisplayName(dotted, *item) : std::string();
            Add(key, std::string(owner.textPrefix) + dotted, std::move(display), table);
        };
        const auto qualities = GetCasePart2(dict_);
        for (const auto& name : names) {
            if (name == "ControlCase") continue;
            for (const auto& q : qualities)
                for (const auto& c : GetCasePart3(dict_))
                    add("T_CaseProcess", name + "_" + q + "_" + c, name + "." + q + "." + c);
        }
        if (Contains(names, "ControlCase")) {
            for (const auto& q : qualities)
                for (const auto& c : GetCaseControlAtt(dict_))
                    add("T_CaseControl", "ControlCase_" + q + "_" + c,
                        "ControlCase." + q + "." + c);
        }
        for (const auto& name : names)
            for (const auto& c : GetT_CaseAtt(dict_)) {
                const std::string key = "T_Case." + name + "_" + c + suffix;
                std::string display =
                    item ? dict_.DisplayName(name + "." + c, *item) : std::string();
                Add(key, std::string(owner.textPrefix) + name + "." + c, std::move(display),
                    "T_Case");
            }
    }

    std::vector<CatalogueEntry> Sorted() {
        std::vector<std::string> groups;
        for (const auto& e : entries_)
            if (std::find(groups.begin(), groups.end(), e.group) == groups.end())
                groups.push_back(e.group);
        auto rank = [&](const CatalogueEntry& e) {
            return std::find(groups.begin(), groups.end(), e.group) - groups.begin();
        };
        std::stable_sort(entries_.begin(), entries_.end(),
                         [&](const CatalogueEntry& a, const CatalogueEntry& b) {
                             const auto ra = rank(a), rb = rank(b);
                             if (ra != rb) return ra < rb;
                             return ToLowerAscii(a.name) < ToLowerAscii(b.name);
                         });
        return std::move(entries_);
    }

    std::string category_;
    PlantDictionary& dict_;
    const CatalogueOptions& options_;
    std::vector<CatalogueEntry> entries_;
    std::set<std::string> keys_;
};

}  // namespace

std::vector<CatalogueEntry> GetAttributeCatalogue(std::string_view category,
                                                  PlantDictionary& dictionary,
                                                  const CatalogueOptions& options) {
    return Builder(category, dictionary, options).Build();
}

const CatalogueEntry* FindCatalogueEntry(const std::vector<CatalogueEntry>& catalogue,
                                         std::string_view key) {
    for (const auto& e : catalogue)
        if (IEquals(e.key, key)) return &e;
    return nullptr;
}

std::vector<std::string> GetCasePart1(const PlantDictionary& dictionary) {
    std::vector<std::string> out;
    for (const auto& c : CaseNames()) {
        if (c.name == "ControlCase") continue;
        if (dictionary.codeListLookup && !dictionary.enabledCaseTypes.count(c.index)) continue;
        out.emplace_back(c.name);
    }
    out.emplace_back("ControlCase");
    return out;
}

std::vector<std::string> GetCasePart2(const PlantDictionary& dictionary) {
    std::vector<std::string> out;
    for (int q : {1, 2})
        if (!dictionary.codeListLookup || dictionary.enabledQualities.count(q))
            out.emplace_back(QualityNames()[static_cast<std::size_t>(q - 1)]);
    return out;
}

std::vector<std::string> GetCasePart3(const PlantDictionary& dictionary) {
    return CaseValueColumns(dictionary.caseProcessColumns);
}

std::vector<std::string> GetCaseControlAtt(const PlantDictionary& dictionary) {
    return CaseValueColumns(dictionary.caseControlColumns);
}

std::vector<std::string> GetT_CaseAtt(const PlantDictionary& dictionary) {
    std::vector<std::string> out;
    for (const auto& c : dictionary.caseColumns)
        if (std::string(",SP_ID,UPDATECOUNT,CASETYPE,SP_MODELITEMID,CASECLASS,")
                .find("," + ToUpperAscii(c) + ",") == std::string::npos)
            out.push_back(c);
    return out;
}

bool ConfigurationHasCaseAttributes(const std::filesystem::path& projectIni) {
    for (const auto& category : AllCategoryNames())
        for (const auto& key : GetIniSectionKeys(projectIni, category))
            if (IStartsWith(key, "T_CaseProcess.") || IStartsWith(key, "T_CaseControl.") ||
                IStartsWith(key, "T_Case."))
                return true;
    return false;
}

}  // namespace tb::attributes
