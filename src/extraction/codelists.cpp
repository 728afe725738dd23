#include "extraction/codelists.h"

#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include "common/error.h"
#include "common/log.h"
#include "common/text.h"
#include "extraction/column_alias.h"
#include "extraction/output_model.h"
#include "plantaccess/store_connection.h"
#include "store/access_text.h"
#include "store/sql_functions.h"
#include "store/sqlite.h"

namespace tb::extraction {
namespace {

// Names in the store's SQL come from the plant and the configuration.
std::string Bracket(std::string_view name) {
    return store::SqlName(name);
}

// The object a category table is about, for columns that carry no owner of their own.
std::string_view CategoryOwner(std::string_view table) {
    struct Entry {
        std::string_view table, owner;
    };
    static constexpr Entry kOwners[] = {{"Eqp_Nozzle", "equipment"},
                                        {"InlineComp_Prun", "piperun"},
                                        {"Instruments", "instrument"},
                                        {"ItemNotes", "note"},
                                        {"OPCs", "opc"}};
    for (const Entry& e : kOwners)
        if (IEquals(e.table, table)) return e.owner;
    return {};
}

// "." and "_" exchanged: "ProcessDesign_Max_Pressure" -> "ProcessDesign.Max.Pressure".
std::string ExchangeDots(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c == '.')
            c = '_';
        else if (c == '_')
            c = '.';
    }
    return out;
}

class DisplayNames {
  public:
    explicit DisplayNames(const store::Store& store) {
        const auto table = store.FindTable("itemattributions_cp");
        if (!table) return;
        for (const store::Row& r :
             store.QueryRows("SELECT [NAME], [DISPLAYNAME] FROM " + Bracket(*table))) {
            if (r[0].isNull() || r[1].isNull()) continue;
            names_.emplace(store::FoldCase(r[0].ToText()), r[1].ToText());  // the first row wins
        }
    }
    std::string Find(std::string_view name) const {
        const auto it = names_.find(store::FoldCase(name));
        return it == names_.end() ? std::string() : it->second;
    }

  private:
    std::unordered_map<std::string, std::string> names_;
};

std::string DisplayName(const DisplayNames& names, const GlossaryOwner& o) {
    const std::string lower = ToLowerAscii(o.attribute);
    if (lower == "sp_id") return "SP ID";
    if (lower == "plantgroup") return "Plant Group";
    if (Like(lower, "process*_*") || Like(lower, "controlcase_*") || Like(lower, "package_*"))
        return names.Find(ExchangeDots(o.attribute));
    if (!o.owner.empty())
        if (std::string n = names.Find(o.owner + "." + o.attribute); !n.empty()) return n;
    return names.Find(o.attribute);
}

}  // namespace

bool LowFailureActionWanted(const AttributeKeys& keys) {
    return keys.Has("Instruments", "T_InstrFailMode.FailureActionLow_Instrument") ||
           keys.Has("InlineComp_Prun", "T_InstrFailMode.FailureActionLow_Instrument");
}

bool ExtractCodelists(const PlantSchema& dictionary, store::Store& store, bool lowFailureAction) {
    return Trap("ExtractCodelists", [&] {
        const bool copy = dictionary.dialect == Dialect::AccessCopy;
        if (copy) {
            const auto conn =
                std::dynamic_pointer_cast<plantaccess::StoreConnection>(dictionary.connection);
            if (!conn || !conn->store().TableExists("codelists")) return false;
        }
        ShowProgress("Extracting data from PIDD...");
        plantaccess::Connection& source = *dictionary.connection;
        Rs2Access(
            source, CodelistSql(dictionary.dialect, dictionary.prefix), store, "Codelist_cp",
            "ATTRIBUTE_NAME\rCODELIST_NUMBER\rCODELIST_INDEX\rCODELIST_TEXT\rCODELIST_SHORT_TEXT\r"
            "CODELIST_CONSTRAINT\rCODELIST_SORT_VALUE");
        if (lowFailureAction) AddFailureActionLowRows(store);
        IndexTable(store, "Codelist_cp", {"ATTRIBUTE_NAME", "CODELIST_INDEX"});
        if (copy) return true;
        Rs2Access(source, EntityUniqueNameSql(dictionary.dialect, dictionary.prefix), store, "m_cp",
                  "entity_name\runique_name");
        Rs2Access(source, AttributesSql(dictionary.dialect, dictionary.prefix), store,
                  "ATTRIBUTES_cp", "ATTRIBUTE_NUMBER\rATTRIBUTE_NAME\rDEPENDSONID");
        IndexTable(store, "ATTRIBUTES_cp", {"ATTRIBUTE_NUMBER", "ATTRIBUTE_NAME"});
        Rs2Access(source, ItemAttributionsSql(dictionary.dialect, dictionary.prefix), store,
                  "itemattributions_cp", "NAME\rDISPLAYNAME");
        return true;
    });
}

void AddFailureActionLowRows(store::Store& store) {
    Trap("AddFailureActionLowRows", [&] {
        store.Execute(
            "INSERT INTO [Codelist_cp] ([ATTRIBUTE_NAME], [CODELIST_INDEX], [CODELIST_TEXT], "
            "[CODELIST_SHORT_TEXT]) "
            "SELECT 'FailureActionLow', [CODELIST_INDEX], [CODELIST_TEXT], [CODELIST_SHORT_TEXT] "
            "FROM [Codelist_cp] "
            "WHERE lcase([ATTRIBUTE_NAME])='failureaction' ORDER BY _rowid_");
    });
}

void AddNullToCodelist(store::Store& store) {
    Trap("AddNullToCodelist", [&] {
        if (!store.TableExists("Codelist_cp")) return;
        // One row for each list name (its first spelling), unless the list has an empty text.
        store.Execute(
            "INSERT INTO [Codelist_cp] ([ATTRIBUTE_NAME], [CODELIST_INDEX], [CODELIST_TEXT]) "
            "SELECT \"left\"(c.[ATTRIBUTE_NAME], 255), -1, NULL FROM [Codelist_cp] AS c "
            "WHERE c._rowid_ IN (SELECT min(_rowid_) FROM [Codelist_cp] "
            "GROUP BY \"left\"([ATTRIBUTE_NAME], 255) COLLATE JETNOCASE) "
            "AND \"left\"(c.[ATTRIBUTE_NAME], 255) COLLATE JETNOCASE NOT IN "
            "(SELECT \"left\"([ATTRIBUTE_NAME], 255) FROM [Codelist_cp] WHERE "
            "len(jcat([CODELIST_TEXT], ''))=0 "
            "AND [ATTRIBUTE_NAME] IS NOT NULL) "
            "ORDER BY c._rowid_");
    });
}

GlossaryOwner GetGlossaryOwner(std::string_view column, std::string_view table) {
    if (IStartsWith(column, "drawing")) {
        const auto underscore = column.find('_');
        const std::string_view rest =
            underscore == std::string_view::npos ? column.substr(7) : column.substr(underscore + 1);
        return {"Representation", "Drawing." + std::string(rest)};
    }
    // The "_" of a leading "sp_" does not split.
    const std::size_t from = IStartsWith(column, "sp_") ? 3 : 0;
    if (const auto underscore = column.find('_', from);
        underscore != std::string_view::npos && underscore > 0)
        return {std::string(column.substr(0, underscore)),
                std::string(column.substr(underscore + 1))};
    if (IEquals(table, "Plantitems")) return {"plantitem", std::string(column)};
    return {std::string(CategoryOwner(table)), std::string(column)};
}

std::string GetGlossaryOwnerName(std::string_view owner) {
    struct Entry {
        std::string_view owner, word;
    };
    static constexpr Entry kWords[] = {{"inlinecomp", "Inline Component"},
                                       {"pipingcomp", "Piping Component"},
                                       {"piperun", "Pipe Run"},
                                       {"instrloop", "Instrument Loop"},
                                       {"plantitem", "Plant Item"},
                                       {"modelitem", "Model Item"}};
    for (const Entry& e : kWords)
        if (IEquals(e.owner, owner)) return std::string(e.word);
    std::string word(owner);
    if (!word.empty()) word[0] = ToUpperAscii(word.substr(0, 1))[0];
    return word;
}

void FillGlossary(store::Store& store) {
    Trap("FillGlossary", [&] {
        ShowProgress("Display names...");
        store::Transaction tx(store.handle());
        if (!store.TableExists("_Glossary")) {
            const store::ColumnType text = store::ColumnType::Text(255);
            store.CreateTable("_Glossary",
                              {{"Table", text}, {"Column", text}, {"PidDisplayName", text}});
            store.CreateIndex("_Glossary", "ID", {"Table", "Column"}, true, true);
        }
        std::vector<std::string> tables;
        if (const auto task = store.FindTable("Task"))
            for (const store::Row& r : store.QueryRows("SELECT [Name] FROM " + Bracket(*task) +
                                                       " WHERE NOT [Name] IS NULL"))
                tables.push_back(r[0].ToText());
        tables.emplace_back("PID");

        std::unordered_set<std::string> known;
        auto keyOf = [](std::string_view table, std::string_view column) {
            return store::FoldCase(table) + '\x01' + store::FoldCase(column);
        };
        for (const store::Row& r : store.QueryRows("SELECT [Table], [Column] FROM [_Glossary]"))
            known.insert(keyOf(r[0].ToText(), r[1].ToText()));

        const DisplayNames names(store);
        store::Statement insert = store.Prepare(
            "INSERT INTO [_Glossary] ([Table], [Column], [PidDisplayName]) "
            "VALUES (?1, ?2, ?3)");
        for (const std::string& table : tables) {
            const auto stored = store.FindTable(table);
            if (!stored) continue;
            for (const store::ColumnDef& c : store.Columns(*stored)) {
                if (!known.insert(keyOf(table, c.name)).second) continue;
                const GlossaryOwner o = GetGlossaryOwner(c.name, table);
                const std::string display = DisplayName(names, o);
                if (display.empty()) continue;
                const std::string word =
                    o.owner.empty() ? std::string() : GetGlossaryOwnerName(o.owner);
                insert.BindText(1, table).BindText(2, c.name).BindText(
                    3, word.empty() ? display : word + " " + display);
                insert.Run();
            }
        }
        store.Execute(
            "UPDATE [_Glossary] SET [PidDisplayName]='Symbol Name' WHERE "
            "lcase([Column])='symbol_name'");
        tx.Commit();
    });
}

std::string DecodeLookupSql() {
    // Names compare through lcase, codes as their text ("'' & code"); the last row wins.
    return "SELECT lcase(ATTRIBUTE_NAME), jcat('', CODELIST_INDEX), CODELIST_TEXT "
           "FROM [Codelist_cp] WHERE ATTRIBUTE_NAME IS NOT NULL AND _rowid_ IN "
           "(SELECT max(_rowid_) FROM [Codelist_cp] WHERE ATTRIBUTE_NAME IS NOT NULL "
           "GROUP BY lcase(ATTRIBUTE_NAME), jcat('', CODELIST_INDEX))";
}

std::string DecodeUpdateSql(std::string_view table, const std::vector<DecodedColumn>& columns) {
    if (columns.empty()) throw Error(kErrInternal, "DecodeUpdateSql: no column to decode.");
    const std::string t = Bracket(table);
    std::string sql = "UPDATE " + t + " SET ";
    for (std::size_t i = 0; i < columns.size(); ++i)
        sql += (i ? ", " : "") + Bracket(columns[i].column) + " = tb_decode(lcase(" +
               SqlLiteral(columns[i].attribute) + "), " + t + "." + Bracket(columns[i].column) +
               ")";
    return sql;
}

void MakeDecodeLookup(store::Store& store) {
    // Read once into memory: a probe per cell is a hash lookup, not a statement.
    auto texts = std::make_shared<store::CodeTexts>();
    for (const store::Row& r : store.QueryRows(DecodeLookupSql())) {
        // A found text of Null, or of the empty blob, decodes to Null.
        std::optional<std::string> text;
        if (!r[2].isNull() && !(r[2].isBlob() && r[2].ToText().empty())) text = r[2].ToText();
        texts->lists[r[0].ToText()].emplace(r[1].ToText(), std::move(text));
    }
    store::RegisterDecode(store.handle(), std::move(texts));
}

void DropDecodeLookup(store::Store& store) {
    store::RegisterDecode(store.handle(), nullptr);
}

void DecodeTable(store::Store& store, std::string_view table,
                 const std::vector<DecodedColumn>& columns) {
    Trap("DecodeTable", [&] {
        if (columns.empty()) return;
        // A missing table fails in the statements below, with its name.
        const std::string t = store.FindTable(table).value_or(std::string(table));
        std::vector<store::ColumnDef> toText;
        std::vector<std::string> names;
        for (const DecodedColumn& d : columns) {
            names.push_back(d.column);
            if (!store.TypeOf(t, d.column).isText())
                toText.push_back({d.column, store::ColumnType::Text(255)});
        }
        store::Transaction tx(store.handle());
        if (!toText.empty()) store.AlterColumnTypes(t, toText);
        store.Execute(DecodeUpdateSql(t, columns));
        // Code texts longer than a column's width widen it.
        store.FitTypesToData(t, names);
        tx.Commit();
    });
}

std::string DecodeAttributeName(std::string_view table, std::string_view column,
                                const DecodeColumns& known) {
    if (IEquals(table, "PID") || IEquals(table, "Drawings")) {
        std::string drawing = DrawingColumnOfAlias(column, known.drawing);
        if (!drawing.empty()) return drawing;
    }
    if (HasName(known.plantItem, column) || HasName(known.modelItem, column) ||
        IEquals(table, "t_plantitem"))
        return std::string(column);
    const auto underscore = column.find('_');
    return std::string(underscore == std::string_view::npos ? column
                                                            : column.substr(underscore + 1));
}

}  // namespace tb::extraction
