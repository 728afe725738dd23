// The attribute catalogue and the run agree: every key that tarnbrook-attributes offers for a
// category, configured (in groups within the attribute limit), reaches that category's table of
// the extract under its column name, or the run's log names it; and on the hand-made drawings
// the values of the configured keys are the plant's own values, read here straight from the
// plant's SQLite files, decoded through the code lists of the data dictionary.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>
#include <set>

#include "attributes/categories.h"
#include "common/text.h"
#include "extraction/column_alias.h"
#include "mdb/mdb_reader.h"
#include "plant_generator.h"
#include "store/sqlite.h"
#include "support/sample_plant.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::Sandbox;

// The attribute limit: 230 keys or more are refused, so a category gets at most 229 per run.
constexpr std::size_t kAttributeLimit = 229;

// How a key fails: its column is missing (and the log does not name the key), its values are
// not the plant's, or another key of the category gives the same column.
enum class Kind { NoColumn, WrongValues, SharedColumn };

// Keys that fail today, with the fault that explains them (issue 15's numbers, or "new" and what
// it is). Remove an entry when its fault is fixed: the test fails while a listed entry no longer
// fails, and while a failure is not listed. Patterns are VB Like patterns, ignoring case.
struct KnownFault {
    const char* category;
    const char* keyPattern;
    Kind kind;
    const char* fault;
};
const std::vector<KnownFault> kFailingToday = {
    {"Instruments", "t_inlinecomp.NominalDiameter_Instrument", Kind::SharedColumn,
     "new: the catalogue offers two keys for Instrument_NominalDiameter (the run names the second "
     "in its log)"},
};

// --- the plant's side ---------------------------------------------------------------------

// A value as text the way both sides can be compared; nullopt for Null (and '', which the copy
// step turns into Null). Line breaks become character 3 and tabs blanks, as the copy step does.
using Text = std::optional<std::string>;

Text CopiedText(std::string text) {
    text = ReplaceAll(ReplaceAll(ReplaceAll(text, "\r\n", "\x03"), "\r", "\x03"), "\n", "\x03");
    text = ReplaceAll(text, "\t", " ");
    if (text.empty()) return std::nullopt;
    return text;
}

class Plant {
  public:
    explicit Plant(const fs::path& folder)
        : db_((folder / "PLANTAPID.db").string(), SQLITE_OPEN_READONLY) {
        store::Execute(db_.get(), "ATTACH DATABASE " +
                                      SqlLiteral((folder / "PLANTAPIDD.db").string()) + " AS dict");
        for (const char* name : {"PID-11-01", "PID-12-01", "PID-12-02"}) {
            const std::string id =
                Query("SELECT SP_ID FROM T_Drawing WHERE Name = ?1", {name}).at(0)[0].ToText();
            handMade_.insert(id);
            for (const auto& r :
                 Query("SELECT SP_ID FROM T_Revision WHERE SP_DrawingID = ?1", {id}))
                handMade_.insert(r[0].ToText());
            for (const auto& r :
                 Query("SELECT SP_ModelItemID FROM T_Representation WHERE SP_DrawingID = ?1", {id}))
                handMade_.insert(r[0].ToText());
        }
        // Loops and other groups of the items drawn there.
        for (const auto& r :
             Query("SELECT SP_PlantItemID, SP_PlantItemGroupID FROM T_PlantItemGroupJoin"))
            if (handMade_.count(r[0].ToText())) handMade_.insert(r[1].ToText());
    }

    bool HandMade(const std::string& id) const { return handMade_.count(id) > 0; }

    std::vector<store::Row> Query(const std::string& sql, const store::Row& params = {}) const {
        return store::QueryRows(db_.get(), sql, params);
    }

    // The plant's spelling of a column of a table; empty when the table lacks it.
    std::string Column(const std::string& table, const std::string& column) const {
        for (const auto& r : Query("SELECT name FROM pragma_table_info(?1)", {table}))
            if (IEquals(r[0].ToText(), column)) return r[0].ToText();
        return {};
    }

    // The enabled entries of the code list of a column, as the data dictionary states it; empty
    // for a column that is not code-listed.
    std::map<std::string, Text> CodeList(const std::string& table,
                                         const std::string& column) const {
        std::map<std::string, Text> out;
        for (const auto& r :
             Query("SELECT c.CODELIST_INDEX, c.CODELIST_TEXT FROM dict.ATTRIBUTES a "
                   "JOIN dict.CODELISTS c ON a.ATTRIBUTE_DATATYPE = 'C' || c.CODELIST_NUMBER "
                   "WHERE a.ATTRIBUTE_CODELISTED = 'T' AND c.CODELIST_ENTRY_DISABLED = 0 "
                   "AND lower(a.TABLENAME) = lower(?1) AND lower(a.COLUMNNAME) = lower(?2)",
                   {table, column}))
            out[r[0].ToText()] = r[1].isNull() ? Text() : CopiedText(r[1].ToText());
        return out;
    }

    // Values by id from a statement giving (id, value), decoded through the code list of
    // table.column; an id with several different values goes to `ambiguous` instead.
    std::map<std::string, Text> Values(const std::string& sql, const std::string& table,
                                       const std::string& column, std::set<std::string>& ambiguous,
                                       const store::Row& params = {}) const {
        const auto codes = CodeList(table, column);
        std::map<std::string, Text> out;
        for (const auto& r : Query(sql, params)) {
            if (r[0].isNull()) continue;
            Text v;
            if (!r[1].isNull()) {
                const std::string raw = r[1].ToText();
                const auto code = codes.find(raw);
                v = code != codes.end() ? code->second : CopiedText(raw);
            }
            const auto [it, added] = out.emplace(r[0].ToText(), v);
            if (!added && it->second != v) ambiguous.insert(r[0].ToText());
        }
        for (const auto& id : ambiguous) out.erase(id);
        return out;
    }

  private:
    store::Connection db_;
    std::set<std::string> handMade_;
};

// --- the extract's side ---------------------------------------------------------------------

struct ExtractTable {
    std::vector<std::string> columns;
    std::vector<mdb::Row> rows;

    std::optional<std::size_t> At(std::string_view column) const {
        for (std::size_t i = 0; i < columns.size(); ++i)
            if (IEquals(columns[i], column)) return i;
        return std::nullopt;
    }
};

// A Jet date (days since 1899-12-30) as the plant's text "yyyy-mm-dd hh:mm:ss".
std::string DateText(double days) {
    using namespace std::chrono;
    const auto seconds = std::llround(days * 86400.0);
    const sys_seconds t = sys_days{1899y / December / 30} + std::chrono::seconds(seconds);
    const auto day = floor<std::chrono::days>(t);
    const year_month_day ymd{day};
    const hh_mm_ss hms{t - day};
    char out[64];
    std::snprintf(out, sizeof out, "%04d-%02u-%02u %02ld:%02ld:%02ld", int(ymd.year()),
                  unsigned(ymd.month()), unsigned(ymd.day()), long(hms.hours().count()),
                  long(hms.minutes().count()), long(hms.seconds().count()));
    return out;
}

// A value of the extract as text to compare; Null and '' give nullopt.
Text ExtractText(const mdb::Value& v) {
    if (const auto* s = std::get_if<std::string>(&v)) return s->empty() ? Text() : Text(*s);
    if (const auto* i = std::get_if<std::int64_t>(&v)) return std::to_string(*i);
    if (const auto* d = std::get_if<double>(&v)) return store::Value(*d).ToText();
    if (const auto* t = std::get_if<mdb::DateTime>(&v)) return DateText(t->days);
    return std::nullopt;
}

std::string Show(const Text& t) {
    return t ? "'" + *t + "'" : "Null";
}

// --- keys -------------------------------------------------------------------------------------

// The column a key gives in its category table: the name rule, with what the run documents
// beside it: Plantitems starts from t_plantitem's own columns without aliases; the computed
// columns PlantItemGroup_RevisionNumber (Plantitems) and VersionAssociated (Drawings) are added
// under their own names; drawing aliases and those of "Others" are shortened.
std::string ColumnOf(const std::string& category, const std::string& key) {
    const std::string lower = ToLowerAscii(key);
    if (IEquals(category, "Plantitems") && lower.starts_with("t_plantitem.")) return key.substr(12);
    if (lower == "t_status.plantitemgroup_revisionnumber" ||
        lower == "t_revision.versionassociated")
        return key.substr(key.find('.') + 1);
    const std::string alias = extraction::GetColumnAlias(key);
    if (IStartsWith(alias, "Drawing_") || lower.starts_with("others."))
        return extraction::ShortenAlias(alias);
    return alias;
}

// The owner suffix at the end of a key ("_PipeRun"), and the prefix of its id column.
std::string SuffixOf(const std::string& key) {
    for (const char* s : {"_Nozzle", "_Equipment", "_PipeRun", "_DuctRun", "_InlineComp",
                          "_Instrument", "_Instrloop"})
        if (IEndsWith(key, s)) return s;
    return {};
}

// The column of the category table that holds the id of the item a key describes.
std::string IdColumnOf(const std::string& category, const std::string& key) {
    const std::string suffix = SuffixOf(key);
    // InlineComp_Prun keeps no instrument id of its own: the component names its instrument.
    if (IEquals(category, "InlineComp_Prun") && IEquals(suffix, "_Instrument"))
        return "InlineComp_SP_INSTRUMENTID";
    if (!suffix.empty()) return suffix.substr(1) + "_SP_ID";
    const std::string table = ToLowerAscii(key.substr(0, key.find('.')));
    if (IEquals(category, "Plantitems")) return "SP_ID";
    if (IEquals(category, "ItemNotes")) return "Note_SP_ID";
    // The plant item, pipe run and case columns of OPCs are those of the connectors at both
    // ends, folded into one text: not one item's values.
    if (IEquals(category, "OPCs"))
        return table == "t_modelitem" || table == "t_opc" || table == "others" ? "Opc_SP_ID" : "";
    if (IEquals(category, "Eqp_Nozzle"))
        return table == "t_nozzle" ? "Nozzle_SP_ID" : "Equipment_SP_ID";
    if (IEquals(category, "InlineComp_Prun"))
        return table == "t_piperun" ? "Piperun_SP_ID" : "InlineComp_SP_ID";
    if (IEquals(category, "Instruments"))
        return table == "t_instrloop" ? "InstrLoop_SP_ID" : "Instrument_SP_ID";
    if (IEquals(category, "DuctRuns"))
        return table == "t_ductrun" ? "DuctRun_SP_ID" : "InlineComp_SP_ID";
    if (IEquals(category, "Drawings"))
        return table == "t_revision" ? "Revision_SP_ID" : "Drawing_SP_ID";
    return {};
}

// What the plant says a key's column holds: values by the id of the row's item (or drawing, for
// the drawing columns of "Others"), and which id column of the extract row to look them up by.
// nullopt for keys whose values this test does not read (computed columns, symbols...).
struct Expected {
    std::string family;
    std::string idColumn;
    std::map<std::string, Text> values;  // an id missing here expects Null
    std::set<std::string> ambiguous;     // ids with several plant values: not compared
};

std::optional<std::pair<int, int>> CaseOf(std::string& rest) {
    // "<case>_<quality>_<column>"; the longest case name that fits.
    std::optional<attributes::CaseName> best;
    for (const auto& c : attributes::CaseNames())
        if (IStartsWith(rest, std::string(c.name) + "_") &&
            (!best || c.name.size() > best->name.size()))
            best = c;
    if (!best) return std::nullopt;
    rest = rest.substr(best->name.size() + 1);
    const auto& qualities = attributes::QualityNames();
    for (std::size_t q = 0; q < qualities.size(); ++q)
        if (IStartsWith(rest, std::string(qualities[q]) + "_")) {
            rest = rest.substr(qualities[q].size() + 1);
            return std::pair{best->index, int(q) + 1};
        }
    return std::nullopt;
}

std::optional<Expected> PlantValues(const Plant& plant, const std::string& category,
                                    const std::string& key) {
    const std::string table = key.substr(0, key.find('.'));
    const std::string lowerTable = ToLowerAscii(table);
    const std::string suffix = SuffixOf(key);
    std::string part = key.substr(table.size() + 1);
    part = part.substr(0, part.size() - suffix.size());
    Expected e;
    e.idColumn = IdColumnOf(category, key);
    if (e.idColumn.empty()) return std::nullopt;
    auto read = [&](std::string family, const std::string& sqlTemplate,
                    const std::string& plantTable, const std::string& column,
                    const store::Row& params = {}) -> std::optional<Expected> {
        const std::string spelled = plant.Column(plantTable, column);
        if (spelled.empty()) return std::nullopt;  // computed by the run, not a plant column
        e.family = std::move(family);
        e.values = plant.Values(ReplaceAll(sqlTemplate, "<col>", store::QuoteName(spelled)),
                                plantTable, spelled, e.ambiguous, params);
        return e;
    };

    if (lowerTable == "others") {
        if (IEquals(part, "SP_MODELITEMTIMESTAMP"))
            return read(
                "Others",
                "SELECT r.SP_ModelItemID, max(r.<col>) FROM T_Representation r JOIN T_Drawing d "
                "ON d.SP_ID = r.SP_DrawingID WHERE d.ItemStatus = 1 GROUP BY r.SP_ModelItemID",
                "T_Representation", part);
        if (!IStartsWith(part, "Drawing_")) return std::nullopt;
        e.idColumn = "Drawing_SP_ID";
        return read("Others", "SELECT SP_ID, <col> FROM T_Drawing", "T_Drawing", part.substr(8));
    }
    if (lowerTable == "t_plantitem") {
        for (const auto& [form, groupTable] : {std::pair{"Package_", "T_Package"},
                                               {"TestSystem_", "T_System"},
                                               {"SafetyClass_", "T_SafetyClass"}})
            if (IStartsWith(part, form))
                return read("group table",
                            "SELECT j.SP_PlantItemID, g.<col> FROM T_PlantItemGroupJoin j JOIN "
                            "T_PlantItem g ON "
                            "g.SP_ID = j.SP_PlantItemGroupID JOIN " +
                                std::string(groupTable) + " t ON t.SP_ID = g.SP_ID",
                            "T_PlantItem", part.substr(std::string_view(form).size()));
        return read("plant item", "SELECT SP_ID, <col> FROM T_PlantItem", "T_PlantItem", part);
    }
    if (lowerTable == "t_modelitem")
        return read("model item", "SELECT SP_ID, <col> FROM T_ModelItem", "T_ModelItem", part);
    if (lowerTable == "t_status")
        return read("status", "SELECT SP_ModelItemID, <col> FROM T_Status", "T_Status", part);
    if (lowerTable == "t_pipingpoint" && part.size() > 3 && part[0] == '_') {
        const std::string index(1, part[1]);
        return read("point",
                    "SELECT SP_PlantItemID, <col> FROM T_PipingPoint WHERE PointIndex = ?1",
                    "T_PipingPoint", part.substr(3), {std::stoi(index)});
    }
    if (lowerTable == "t_caseprocess" || lowerTable == "t_casecontrol") {
        const auto c = CaseOf(part);
        if (!c) return std::nullopt;
        return read("case",
                    "SELECT c.SP_ModelItemID, p.<col> FROM T_Case c JOIN " + table +
                        " p ON p.SP_CaseID = c.SP_ID WHERE c.CaseType = ?1 AND p.Quality = ?2",
                    table, part, {c->first, c->second});
    }
    if (lowerTable == "t_plantgroup") {
        // The item's plant group (a drawing's in Drawings), its parent, and the unit code, which
        // a group without one takes from its parent.
        const std::string owner =
            IEquals(category, "Drawings")
                ? "SELECT SP_ID AS id, SP_PlantGroupID AS pg FROM T_Drawing"
                : "SELECT SP_ID AS id, SP_PlantGroupID AS pg FROM T_PlantItem";
        const std::string from = " FROM (" + owner +
                                 ") o JOIN T_PlantGroup g ON g.SP_ID = o.pg "
                                 "LEFT JOIN T_PlantGroup p ON p.SP_ID = g.ParentID ";
        e.family = "plant group";
        if (IEquals(part, "PlantGroup"))
            e.values =
                plant.Values("SELECT o.id, g.Name" + from, "T_PlantGroup", "Name", e.ambiguous);
        else if (IEquals(part, "ParentPlantGroup"))
            e.values =
                plant.Values("SELECT o.id, p.Name" + from, "T_PlantGroup", "Name", e.ambiguous);
        else if (IEquals(part, "UnitCode"))
            e.values = plant.Values("SELECT o.id, coalesce(u.UnitCode, pu.UnitCode)" + from +
                                        "LEFT JOIN T_Unit u ON u.SP_ID = g.SP_ID LEFT JOIN T_Unit "
                                        "pu ON pu.SP_ID = p.SP_ID",
                                    "T_Unit", "UnitCode", e.ambiguous);
        else
            return std::nullopt;
        return e;
    }
    if (lowerTable == "t_instrfunction")
        return read("type table", "SELECT SP_InstrumentID, <col> FROM T_InstrFunction",
                    "T_InstrFunction", part);
    if (lowerTable == "t_symbol" || lowerTable == "t_instrfailmode" || lowerTable == "t_case")
        return std::nullopt;
    return read("type table", "SELECT SP_ID, <col> FROM " + store::QuoteName(table), table, part);
}

// --- the run -------------------------------------------------------------------------------------

using Catalogue = std::vector<std::pair<std::string, std::vector<std::string>>>;  // category, keys

struct Failure {
    std::string category, key;
    Kind kind;
    std::string what;
};

class CatalogueAgreement : public ::testing::Test {
  protected:
    // The program ini turns duct runs on with a client version that has them, so that every
    // category is offered and built.
    static void PrepareApp(Sandbox& box) {
        fs::create_directories(box.app() / "config");
        fs::copy_file(test::SourceDir() / "config" / "default", box.app() / "config" / "default");
        test::WriteFile(box.app() / "tarnbrook.ini",
                        "[Settings]\r\nDuctRuns=1\r\nPIDVersion=09.00\r\n");
    }

    // Every key tarnbrook-attributes offers, per category; a configuration holding a case key
    // makes OPCs offer theirs too.
    static Catalogue AskCatalogue(Sandbox& box, const fs::path& site) {
        test::WriteFile(box.root() / "cases.ini",
                        "[OPCs]\r\nT_CaseProcess.ProcessDesign_Max_Pressure_Piperun=\r\n");
        const auto r = test::RunProcess(test::BuildDir() / "tarnbrook-attributes",
                                        {"--site", site.string(), "--plant", "PlantA", "--keys",
                                         "--config", (box.root() / "cases.ini").string()},
                                        box.env(), box.root());
        EXPECT_EQ(r.exitCode, 0) << r.output;
        Catalogue out;
        for (const std::string& line : Split(r.output, "\n")) {
            if (line.starts_with("["))
                out.emplace_back(line.substr(1, line.find(']') - 1), std::vector<std::string>{});
            else if (!line.empty() && !out.empty())
                out.back().second.push_back(line);
        }
        return out;
    }

    // Configuration groups: a category of more keys than the limit is cut into equal parts, one
    // per run; the categories that fit go whole into the first run. So later runs have no
    // Drawings keys, and drawing columns of "Others" are tried without that category.
    static std::vector<Catalogue> Groups(const Catalogue& catalogue) {
        std::vector<Catalogue> groups;
        for (const auto& [category, keys] : catalogue) {
            const std::size_t parts = (keys.size() + kAttributeLimit - 1) / kAttributeLimit;
            for (std::size_t p = 0; p < parts; ++p) {
                if (groups.size() <= p) groups.emplace_back();
                const std::size_t from = keys.size() * p / parts,
                                  to = keys.size() * (p + 1) / parts;
                groups[p].emplace_back(category, std::vector<std::string>(keys.begin() + long(from),
                                                                          keys.begin() + long(to)));
            }
        }
        return groups;
    }

    static std::string ConfigText(const Catalogue& group) {
        std::string out = "[General]\r\nAllLoops=0\r\n";
        for (const auto& [category, keys] : group) {
            out += "[" + category + "]\r\n";
            for (const auto& key : keys) out += key + "=\r\n";
        }
        return out;
    }

    static std::map<std::string, ExtractTable> ReadExtract(const fs::path& mdb,
                                                           const Catalogue& group) {
        const mdb::MdbReader reader(mdb);
        std::map<std::string, ExtractTable> out;
        for (const auto& [category, keys] : group) {
            if (!reader.HasTable(category)) continue;
            ExtractTable& t = out[category];
            for (const auto& c : reader.Table(category).columns) t.columns.push_back(c.name);
            reader.ForEachRow(category, [&](const mdb::Row& row) { t.rows.push_back(row); });
        }
        return out;
    }

    // A configured key adds columns, never copies of a row: rows alike in every column but the
    // counter ID mean that a join or grouping multiplied them.
    static void CheckNoRepeatedRows(const std::string& category, const ExtractTable& table) {
        const auto id = table.At("ID");
        std::set<std::string> seen;
        int repeated = 0;
        for (const mdb::Row& row : table.rows) {
            std::string text;
            for (std::size_t i = 0; i < row.size(); ++i)
                if (i != id) text += Show(ExtractText(row[i])) + "\x1f";
            if (!seen.insert(text).second) ++repeated;
        }
        EXPECT_EQ(repeated, 0) << category << " holds rows twice";
    }

    // Checks one run: each key's column is in its table unless the log names the key; the
    // values of the keys the plant holds agree on the rows of the hand-made drawings' items.
    static void CheckRun(const Plant& plant, const Catalogue& group,
                         const std::map<std::string, ExtractTable>& extract, const std::string& log,
                         std::vector<Failure>& failures, std::map<std::string, int>& agreeing) {
        for (const auto& [category, keys] : group) {
            const auto table = extract.find(category);
            if (table != extract.end()) CheckNoRepeatedRows(category, table->second);
            for (const std::string& key : keys) {
                const std::string column = ColumnOf(category, key);
                const auto at = table == extract.end() ? std::nullopt : table->second.At(column);
                if (!at) {
                    if (log.find("The attribute " + key + " of " + category) == std::string::npos)
                        failures.push_back(
                            {category, key, Kind::NoColumn,
                             "no column " + column + " and no log line naming the key"});
                    continue;
                }
                // A key the log names as left out may stand beside the column another key made.
                if (log.find("The attribute " + key + " of " + category + " is left out") !=
                    std::string::npos)
                    continue;
                const auto expected = PlantValues(plant, category, key);
                if (!expected) continue;
                const auto id = table->second.At(expected->idColumn);
                if (!id) {
                    failures.push_back(
                        {category, key, Kind::WrongValues, "no id column " + expected->idColumn});
                    continue;
                }
                int wrong = 0;
                std::string example;
                for (const mdb::Row& row : table->second.rows) {
                    const Text itemId = ExtractText(row[*id]);
                    if (!itemId || !plant.HandMade(*itemId) || expected->ambiguous.count(*itemId))
                        continue;
                    const auto e = expected->values.find(*itemId);
                    const Text want = e == expected->values.end() ? Text() : e->second;
                    const Text got = ExtractText(row[*at]);
                    if (want == got) {
                        if (want) ++agreeing[expected->family];
                        continue;
                    }
                    if (wrong++ == 0)
                        example = expected->idColumn + " " + *itemId + ": expected " + Show(want) +
                                  ", got " + Show(got);
                }
                if (wrong > 0)
                    failures.push_back({category, key, Kind::WrongValues,
                                        expected->family + " values of " + column + " differ on " +
                                            std::to_string(wrong) + " rows, e.g. " + example});
            }
        }
    }

    // Columns must be told apart: two keys of one category that give one column cannot both be
    // placed.
    static void CheckDistinctColumns(const Catalogue& catalogue, std::vector<Failure>& failures) {
        for (const auto& [category, keys] : catalogue) {
            std::map<std::string, std::string> byColumn;
            for (const std::string& key : keys) {
                const auto [it, added] =
                    byColumn.emplace(ToLowerAscii(ColumnOf(category, key)), key);
                if (!added)
                    failures.push_back(
                        {category, key, Kind::SharedColumn, "gives the column of " + it->second});
            }
        }
    }

    // Asks the catalogue of the plant in `folder`, runs each group and reports every failure that
    // the known faults do not explain, and every known fault that no longer shows.
    static void Agreement(const fs::path& folder) {
        const fs::path site = folder / "SmartPlantv4.ini";
        const Plant plant(folder);

        Sandbox box;
        PrepareApp(box);
        const Catalogue catalogue = AskCatalogue(box, site);
        // Every category is offered, so none drops out of the property unseen.
        std::set<std::string> offered;
        for (const auto& [category, keys] : catalogue)
            if (!keys.empty()) offered.insert(category);
        for (const std::string& category : attributes::AllCategoryNames())
            EXPECT_TRUE(offered.count(category)) << category;
        std::vector<Failure> failures;
        std::map<std::string, int> agreeing;  // values that agree, by table family
        CheckDistinctColumns(catalogue, failures);
        const auto groups = Groups(catalogue);
        for (std::size_t g = 0; g < groups.size(); ++g) {
            SCOPED_TRACE("configuration group " + std::to_string(g + 1));
            const fs::path config = box.root() / ("group" + std::to_string(g) + ".ini");
            const fs::path mdb = box.root() / ("group" + std::to_string(g) + ".mdb");
            test::WriteFile(config, ConfigText(groups[g]));
            const auto r = box.Run({"/output", mdb.string(), "/site", site.string(), "/plant",
                                    "PlantA", "/config", config.string()});
            ASSERT_EQ(r.exitCode, 0) << r.output;
            CheckRun(plant, groups[g], ReadExtract(mdb, groups[g]), r.output, failures, agreeing);
            // The last check of the run names keys no step explains; every key of the catalogue
            // has its column or a reason of its own.
            EXPECT_EQ(r.output.find("no step of the run makes its column"), std::string::npos)
                << r.output;
        }
        // The value checks really compared values of every family.
        for (const char* family : {"plant item", "model item", "type table", "group table",
                                   "plant group", "case", "point", "status", "Others"})
            EXPECT_GT(agreeing[family], 0) << family;

        std::set<const KnownFault*> seen;
        for (const Failure& f : failures) {
            const KnownFault* known = nullptr;
            for (const KnownFault& k : kFailingToday)
                if (k.kind == f.kind && Like(f.category, k.category, true) &&
                    Like(f.key, k.keyPattern, true))
                    known = &k;
            if (known)
                seen.insert(known);
            else
                ADD_FAILURE() << f.category << ": " << f.key << ": " << f.what;
        }
        for (const KnownFault& k : kFailingToday)
            EXPECT_TRUE(seen.count(&k))
                << "Listed as failing (" << k.fault << ") but no key fails: " << k.category << " "
                << k.keyPattern << ". Remove the entry.";
    }
};

TEST_F(CatalogueAgreement, TinyPlant) {
    Agreement(test::ShowcasePlant());
}

// The 40 drawings of the demo plant: the generated sheets add no key, but the runs see more
// rows of every kind.
TEST_F(CatalogueAgreement, FortyDrawingPlant) {
    test::TempDir dir;
    sampleplant::Options options;
    options.out = dir.path() / "plant";
    options.drawings = sampleplant::kDefaultDrawings;
    sampleplant::GeneratePlant(options);
    Agreement(options.out);
}

}  // namespace
}  // namespace tb
