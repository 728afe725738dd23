#include "extraction/output_model.h"

#include <unistd.h>

#include <charconv>
#include <cmath>
#include <ctime>

#include "common/error.h"
#include "common/ini.h"
#include "common/log.h"
#include "common/text.h"
#include "plantaccess/ado.h"
#include "plantaccess/session.h"
#include "platform/platform.h"
#include "store/sqlite.h"

namespace tb::extraction {
namespace {

using store::ColumnDef;
using store::ColumnType;

// Names in the store's SQL come from the plant and the configuration.
std::string Bracket(std::string_view name) {
    return store::SqlName(name);
}

std::string RequireTable(const store::Store& store, std::string_view table) {
    if (auto t = store.FindTable(table)) return *t;
    throw Error(store::kErrTableMissing, "The table '" + std::string(table) + "' does not exist.");
}

std::string HostName() {
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0) return {};
    return name;
}

// Line breaks as the two characters "\n", as the info dialog keeps them.
std::string EscapeLineBreaks(std::string_view text) {
    return ReplaceLineBreaks(text, "\\n");
}

store::Value TextOrNull(std::string_view text) {
    return text.empty() ? store::Value() : store::Value(text);
}

}  // namespace

std::string LineBreaksAsMarker(std::string_view text) {
    return ReplaceLineBreaks(text, "\x03");
}

plantaccess::TransferResult Rs2Access(plantaccess::Connection& source, std::string_view sql,
                                      store::Store& store, std::string_view table,
                                      std::string_view renames) {
    plantaccess::SetSessionLastSql(std::string(sql));
    try {
        if (const auto old = store.FindTable(table)) store.DropTable(*old);
        plantaccess::TransferResult result =
            plantaccess::CopyQueryToStore(source, sql, store, table);
        if (!renames.empty()) {
            const std::vector<std::string> names = Split(renames, "\r");
            const std::string t = RequireTable(store, table);
            for (std::size_t i = 0; i < names.size() && i < result.columns.size(); ++i) {
                if (names[i].empty() || names[i] == result.columns[i].name) continue;
                store.RenameColumn(t, result.columns[i].name, names[i]);
                result.columns[i].name = names[i];
            }
        }
        return result;
    } catch (...) {
        LogLine(sql);
        RethrowChained("Rs2Access");
    }
}

bool Compact(const std::filesystem::path& extract) {
    return Trap("Compact", [&] {
        // The extract is written in one piece from the store at the end, so it is compact by
        // construction and the store itself needs no compaction to be right. The size rule and
        // its log lines stay; at that size a VACUUM gives the pages of dropped working tables back.
        const auto store = plantaccess::FindMdbStore(extract);
        const std::filesystem::path file =
            store && !store->path().empty() ? store->path() : extract;
        std::error_code ec;
        const std::uintmax_t size = std::filesystem::file_size(file, ec);
        if (ec || size < kCompactThreshold) return false;
        return plantaccess::CompactDatabase(extract);
    });
}

void AddID2Table(store::Store& store, std::string_view table) {
    Trap("AddID2Table", [&] { store.AddCounterId(RequireTable(store, table), "ID"); });
}

void AddQuantityColumn(store::Store& store, std::string_view table, const AttributeKeys& keys) {
    if (!keys.Has(table, "Others.Quantity")) return;
    Trap("AddQuantityColumn", [&] {
        const std::string t = RequireTable(store, table);
        try {
            store.AddColumn(t, {"Quantity", ColumnType::Long()}, 1);
        } catch (const Error& e) {
            LogLine("AddQuantityColumn:" + e.description());
            store.Execute("UPDATE " + Bracket(t) + " SET [Quantity]=1");
        }
    });
}

void IndexTable(store::Store& store, std::string_view table,
                const std::vector<std::string>& columns) {
    Trap("IndexTable", [&] {
        const std::string t = RequireTable(store, table);
        for (const std::string& column : columns)
            if (const auto c = store.FindColumn(t, column)) store.IndexColumn(*c, t);
    });
}

void IndexColumn(store::Store& store, std::string_view column, std::string_view table) {
    Trap("IndexColumn", [&] { store.IndexColumn(column, RequireTable(store, table)); });
}

void StringTable(store::Store& store, std::string_view table, std::string_view keep) {
    Trap("StringTable", [&] {
        const std::string t = RequireTable(store, table);
        std::vector<std::string> keepList;
        for (const std::string& k : Split(keep, ",")) keepList.emplace_back(TrimBlanks(k));

        std::vector<std::string> select;
        store::TypeHints hints;
        bool anyConverted = false;
        for (const ColumnDef& c : store.Columns(t)) {
            const bool convert = !IEquals(c.name, "ID") && !c.type.isText() &&
                                 c.type.storage() != store::Storage::Binary &&
                                 !HasName(keepList, c.name) &&
                                 !Like(ToLowerAscii(c.name), "*sp*si");
            if (convert) {
                select.push_back("jcat('', " + Bracket(c.name) + ") AS " + Bracket(c.name));
                hints.push_back({c.name, ColumnType::Text(255)});
                anyConverted = true;
            } else {
                select.push_back(Bracket(c.name));
                hints.push_back({c.name, c.type});
            }
        }
        if (!anyConverted) return;  // the rewrite would give the same table

        // The indexes of the old table are made again on the new one; a counter's key goes with
        // the counter, as a SELECT ... INTO leaves a plain Long.
        std::vector<store::IndexDef> indexes;
        for (store::IndexDef& idx : store.Indexes(t))
            if (!idx.sqliteName.empty()) indexes.push_back(std::move(idx));

        const std::string scratch = t + "_t";
        if (store.TableExists(scratch)) store.DropTable(scratch);
        store::Transaction tx(store.handle());
        store.SelectInto(
            "SELECT " + Join(select, ", ") + " FROM " + Bracket(t) + " ORDER BY _rowid_", scratch,
            hints);
        store.DropTable(t);
        store.RenameTable(scratch, t);
        for (const store::IndexDef& idx : indexes)
            store.CreateIndex(t, idx.name, idx.columns, idx.primary, idx.unique);
        tx.Commit();
    });
}

void RenameColumn(store::Store& store, std::string_view table, std::string_view oldName,
                  std::string_view newName) {
    Trap("RenameColumn", [&] { store.RenameColumn(RequireTable(store, table), oldName, newName); });
}

void RenameAllCols(store::Store& store, std::string_view table, std::string_view prefix,
                   std::string_view suffix) {
    Trap("RenameAllCols", [&] {
        const std::string t = RequireTable(store, table);
        store::Transaction tx(store.handle());
        for (const ColumnDef& c : store.Columns(t))
            store.RenameColumn(t, c.name, std::string(prefix) + c.name + std::string(suffix));
        tx.Commit();
    });
}

void DropColumn(store::Store& store, std::string_view table, std::string_view column) {
    Trap("DropColumn", [&] { store.DropColumn(RequireTable(store, table), column); });
}

void ConvertDate2Text(store::Store& store, std::string_view table, std::string_view column) {
    Trap("ConvertDate2Text",
         [&] { store.AlterColumnType(RequireTable(store, table), column, ColumnType::Text(50)); });
}

std::string UtcDateText(std::chrono::system_clock::time_point time) {
    const std::time_t t = std::chrono::system_clock::to_time_t(time);
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S", &tm);
    return buf;
}

ExtractInfo CurrentExtractInfo(std::string application) {
    ExtractInfo info;
    info.application = std::move(application);
    info.version = platform::ProgramVersion();
    info.domainName = HostName();
    info.userName = platform::UserName();
    info.time = std::chrono::system_clock::now();
    return info;
}

ManualInfo ReadManualInfo(const std::filesystem::path& attributeIni) {
    const IniDocument doc = IniDocument::Load(attributeIni);
    auto get = [&](std::string_view key) { return doc.Get("Info", key).value_or(std::string()); };
    return {get("ExpiringDate"), get("Revision"), get("Version"), get("Info"), get("Description")};
}

bool ManualInfoWanted(const std::filesystem::path& userConfigFile) {
    return IniFlag(userConfigFile, "ProjectSettings", "manualInfo") &&
           IniFlag(userConfigFile, "ProjectSettings", "keepInfo");
}

void CreateInfoTable(store::Store& store, const ExtractInfo& info) {
    Trap("CreateInfoTable", [&] {
        store::Transaction tx(store.handle());
        if (store.TableExists("_Info")) store.DropTable("_Info");
        const ColumnType text = ColumnType::Text(255);
        store.CreateTable("_Info", {{"Application", text},
                                    {"Version", text},
                                    {"Domain_Name", text},
                                    {"User_Name", text},
                                    {"Project", text},
                                    {"Extract_UTC", ColumnType::DateTime()},
                                    {"Expiration_date", ColumnType::DateTime()},
                                    {"Extract_Revision", text},
                                    {"Extract_Version", text},
                                    {"Info", text},
                                    {"Description", text},
                                    {"Settings", ColumnType::OLE()},
                                    {"AsBuilt_Name", text}});
        store::Value expiration, revision, version, infoText, description;
        if (info.withManualInfo) {
            const std::string days(TrimBlanks(info.manual.expiringDate));
            double n = 0;
            const auto r = std::from_chars(days.data(), days.data() + days.size(), n);
            if (!days.empty() && r.ec == std::errc() && r.ptr == days.data() + days.size() &&
                std::isfinite(n))
                expiration = UtcDateText(
                    info.time + std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                    std::chrono::duration<double>(n * 86400.0)));
            revision = TextOrNull(EscapeLineBreaks(info.manual.revision));
            version = TextOrNull(EscapeLineBreaks(info.manual.version));
            infoText = TextOrNull(EscapeLineBreaks(info.manual.info));
            description = TextOrNull(EscapeLineBreaks(info.manual.description));
        }
        store::Value settings;
        if (!info.settings.empty())
            settings = store::Blob(info.settings.begin(), info.settings.end());
        store.ExecuteCount(
            "INSERT INTO [_Info] VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13)",
            {TextOrNull(info.application), TextOrNull(info.version), TextOrNull(info.domainName),
             TextOrNull(info.userName), TextOrNull(info.project), UtcDateText(info.time),
             expiration, revision, version, infoText, description, settings,
             TextOrNull(info.asBuiltName)});
        store.FitTypesToData("_Info");
        tx.Commit();
    });
}

void SetInfoSettings(store::Store& store, std::string_view settings) {
    Trap("SetInfoSettings", [&] {
        const std::string t = RequireTable(store, "_Info");
        store::Value value;
        if (!settings.empty()) value = store::Blob(settings.begin(), settings.end());
        store.ExecuteCount("UPDATE " + Bracket(t) + " SET [Settings]=?1", {value});
    });
}

}  // namespace tb::extraction
