#include "extraction/revisions.h"

#include "common/error.h"
#include "common/text.h"
#include "extraction/category_sql.h"
#include "extraction/output_model.h"

namespace tb::extraction {
namespace {

using store::ColumnType;

// The revision text of the first row of each drawing of t_lastrevision (the last row for the
// first revision) into Drawings.<column>, through t_lastrevision2.
void FillRevisionColumn(store::Store& store, const std::string& column, bool lastRow) {
    const std::string filter = lastRow ? store::LastRowsFilter("t_lastrevision", "[sp_drawingid]")
                                       : store::FirstRowsFilter("t_lastrevision", "[sp_drawingid]");
    if (store.TableExists("t_lastrevision2")) store.DropTable("t_lastrevision2");
    store.SelectInto(
        "SELECT [sp_drawingid] AS [sp_id], jcat([SP_MAJORREVISIONNUMBER], "
        "[SP_MINORREVISIONNUMBER]) AS [" +
            column + "] FROM [t_lastrevision] WHERE " + filter + " ORDER BY _rowid_",
        "t_lastrevision2");
    store.AddColumn("Drawings", {column, ColumnType::Text(255)});
    store.UpdateFromJoin({.target = "Drawings",
                          .targetAlias = "t1",
                          .source = "[t_lastrevision2] t2",
                          .on = "t1.[DRAWING_SP_ID]=t2.[sp_id]",
                          .set = {{column, "t2.[" + column + "]"}}});
    store.DropTable("t_lastrevision2");
}

// Takes the newest remaining revision of each drawing off the list.
void RemoveNewestRevisions(store::Store& store) {
    store.Execute(
        "DELETE FROM [t_lastrevision] WHERE [sp_id] IN (SELECT [sp_id] FROM [t_lastrevision] "
        "WHERE " +
        store::FirstRowsFilter("t_lastrevision", "[sp_drawingid]") + ")");
}

}  // namespace

std::vector<std::string> GetCols4Revision(const AttributeKeys& keys,
                                          const std::vector<std::string>& revisionColumns) {
    std::vector<std::string> out;
    bool versionAssociated = false;
    for (const std::string& column : GetAttrs4Table(keys.Keys("Drawings"), "T_Revision")) {
        if (IEquals(column, "VersionAssociated"))
            versionAssociated = true;
        else if (HasName(revisionColumns, column) && !HasName(out, column))
            out.push_back(column);
    }
    if (out.empty() && !versionAssociated) return out;
    for (const char* id : {"SP_ID", "SP_DRAWINGID"})
        if (!HasName(out, id)) out.emplace_back(id);
    return out;
}

RevisionColumnFlags GetRevisionColumnFlags(const AttributeKeys& keys) {
    RevisionColumnFlags f;
    f.first = keys.Has("Drawings", "Others.FirstRevision");
    f.last2 = keys.Has("Drawings", "Others.Last-2Revision");
    f.last1 = keys.Has("Drawings", "Others.Last-1Revision");
    f.last = keys.Has("Drawings", "Others.LastRevision");
    return f;
}

void ExtractTRevision(const PlantSchema& plant, store::Store& store, const AttributeKeys& keys) {
    Trap("ExtractTRevision", [&] {
        plantaccess::Connection& source = *plant.connection;
        const std::vector<std::string> catalogue = GetAllDbColumns(plant, "t_revision");
        const std::vector<std::string> columns = GetCols4Revision(keys, catalogue);
        if (!columns.empty()) {
            std::vector<std::string> select;
            for (const std::string& c : columns)
                select.push_back("r." + plant.Column(c, catalogue));
            Rs2Access(source,
                      "select " + Join(select, ",") + " from " + plant.Table("t_revision") + " r",
                      store, "T_Revision", Join(columns, "\r"));
            for (const std::string& c : columns)
                store.RenameColumn("T_Revision", c, "Revision_" + c);
            if (keys.Has("Drawings", "T_Revision.VersionAssociated")) {
                Rs2Access(source,
                          "select sp_revisionid from " + plant.Table("t_drawingversion") +
                              " where not sp_revisionid is null",
                          store, "t_drawingversion", "sp_revisionid");
                AddVersionAssociated(store);
            }
        }
        if (GetRevisionColumnFlags(keys).any())
            Rs2Access(
                source,
                "select sp_id, SP_MAJORREVISIONNUMBER, SP_MINORREVISIONNUMBER, sp_drawingid from " +
                    plant.Table("t_revision") + " order by sp_drawingid, sp_revisiondate desc",
                store, "t_lastrevision",
                "sp_id\rSP_MAJORREVISIONNUMBER\rSP_MINORREVISIONNUMBER\rsp_drawingid");
    });
}

void AddVersionAssociated(store::Store& store) {
    Trap("AddVersionAssociated", [&] {
        store.AddColumn("T_Revision", {"VersionAssociated", ColumnType::Text(10)});
        store.UpdateFromJoin(
            {.target = "T_Revision",
             .source = "[t_drawingversion]",
             .on = "[T_Revision].[Revision_SP_ID]=[t_drawingversion].[sp_revisionid]",
             .set = {{"VersionAssociated", "'True'"}}});
        store.Execute(
            "UPDATE [T_Revision] SET [VersionAssociated]='False' WHERE [VersionAssociated] IS "
            "NULL");
        store.DropTable("t_drawingversion");
    });
}

void AddRevision2Drawings(store::Store& store, const AttributeKeys& keys) {
    Trap("AddRevision2Drawings", [&] {
        if (store.TableExists("T_Revision") && store.TableExists("Drawings")) {
            if (store.TableExists("tempDrawings")) store.DropTable("tempDrawings");
            JoinTable(store, "LEFT", {}, "Drawings", "DRAWING_SP_ID", "T_Revision",
                      "Revision_SP_DRAWINGID", "tempDrawings");
            store.DropTable("Drawings");
            store.RenameTable("tempDrawings", "Drawings");
            if (store.ColumnExists("Drawings", "Revision_SP_DRAWINGID"))
                store.DropColumn("Drawings", "Revision_SP_DRAWINGID");
        }
        const RevisionColumnFlags f = GetRevisionColumnFlags(keys);
        if (!store.TableExists("t_lastrevision")) return;
        if (f.any() && store.TableExists("Drawings")) {
            if (f.last) FillRevisionColumn(store, "LastRevision", false);
            if (f.last1) {
                RemoveNewestRevisions(store);
                FillRevisionColumn(store, "Last-1Revision", false);
            }
            if (f.last2) {
                RemoveNewestRevisions(store);
                if (!f.last1) RemoveNewestRevisions(store);
                FillRevisionColumn(store, "Last-2Revision", false);
            }
            if (f.first) FillRevisionColumn(store, "FirstRevision", true);
        }
        if (store.TableExists("t_lastrevision2")) store.DropTable("t_lastrevision2");
        store.DropTable("t_lastrevision");
    });
}

std::string LastHistoryEventsSql(std::string_view history, bool created, bool modified) {
    const std::string h = "[" + std::string(history) + "]";
    // The rowid orders the rows as stored: the largest one of a kind is the row an update in
    // stored order would have written last.
    std::string rows = "SELECT [sp_modelitemid]";
    std::string select = "SELECT g.[sp_modelitemid] AS [item]";
    std::string from = " FROM (";
    std::string joins;
    std::string kinds;
    auto event = [&](const char* name, int type) {
        const std::string t = std::to_string(type);
        rows += ", max(CASE WHEN [eventtype]=" + t + " THEN _rowid_ END) AS [" + name + "_row]";
        select += std::string(", ") + name + ".[timestamp] AS [" + name + "_timestamp], " + name +
                  ".[actor] AS [" + name + "_actor]";
        joins +=
            " LEFT JOIN " + h + " AS " + name + " ON " + name + "._rowid_=g.[" + name + "_row]";
        kinds += (kinds.empty() ? "" : ",") + t;
    };
    if (created) event("created", 3);
    if (modified) event("modified", 2);
    return select + from + rows + " FROM " + h + " WHERE [eventtype] IN (" + kinds +
           ") GROUP BY [sp_modelitemid]) AS g" + joins;
}

void AddPlantItemHistory(store::Store& store, const HistoryFlags& flags) {
    Trap("AddPlantItemHistory", [&] {
        if (!flags.any()) return;
        struct Column {
            bool wanted;
            const char* name;
            ColumnType type;
            const char* value;
        } columns[] = {
            {flags.createdDate, "CreatedDate", ColumnType::DateTime(), "h.[created_timestamp]"},
            {flags.createdUser, "CreatedUser", ColumnType::Text(40), "h.[created_actor]"},
            {flags.modifiedDate, "LastModifiedDate", ColumnType::DateTime(),
             "h.[modified_timestamp]"},
            {flags.modifiedUser, "LastModifiedUser", ColumnType::Text(40), "h.[modified_actor]"},
        };
        store::JoinUpdate u;
        u.target = "t_plantitem";
        u.source = "(" +
                   LastHistoryEventsSql("t_history", flags.createdDate || flags.createdUser,
                                        flags.modifiedDate || flags.modifiedUser) +
                   ") AS h";
        u.on = "t_plantitem.sp_id=h.[item]";
        u.order = "h.[item]";  // one row per item: any order
        u.oneMatch = true;
        std::vector<store::ColumnDef> dates;
        for (const Column& c : columns) {
            if (!c.wanted) continue;
            store.AddColumn("t_plantitem", {c.name, c.type});
            u.set.push_back({c.name, c.value});
            if (c.type.jet == store::JetType::DateTime)
                dates.push_back({c.name, ColumnType::Text(50)});
        }
        store.UpdateFromJoin(u);
        if (!dates.empty()) store.AlterColumnTypes("t_plantitem", dates);
        store.DropTable("t_history");
    });
}

void AddDrawingLastModified(store::Store& store, const AttributeKeys& keys, bool date, bool user) {
    Trap("AddDrawingLastModified", [&] {
        const auto history = store.FindTable("t_history");
        if (!history) throw Error(store::kErrTableMissing, "The table 't_history' does not exist.");
        date = date && store.ColumnExists(*history, "timestamp");
        user = user && store.ColumnExists(*history, "actor");
        // Only the last history row of a drawing can win the updates below; the item events that
        // carry the drawing's id are many, so the rest go first (the table is dropped at the end).
        store.Execute("DELETE FROM [" + *history +
                      "] WHERE _rowid_ NOT IN (SELECT max(_rowid_) FROM [" + *history +
                      "] GROUP BY [sp_drawingid])");

        // Adds what the flags ask for and fills it from the last history row of the drawing.
        auto fill = [&](const std::string& table, bool withDate, bool withUser) {
            if (!withDate && !withUser) return;
            store::JoinUpdate u;
            u.target = table;
            u.source = "[t_history]";
            u.on = "[" + table + "].[drawing_sp_id]=[t_history].[sp_drawingid]";
            u.oneMatch = true;  // one history row per drawing is left
            if (withDate) {
                store.AddColumn(table, {"Drawing_LastModifiedDate", ColumnType::DateTime()});
                u.set.push_back({"Drawing_LastModifiedDate", "[t_history].[timestamp]"});
            }
            if (withUser) {
                store.AddColumn(table, {"Drawing_LastModifiedUser", ColumnType::Text(40)});
                u.set.push_back({"Drawing_LastModifiedUser", "[t_history].[actor]"});
            }
            store.UpdateFromJoin(u);
        };
        if (const auto pid = store.FindTable("PID")) fill(*pid, date, user);
        if (const auto drawings = store.FindTable("Drawings")) {
            const bool withDate = date && keys.Has("Drawings", "T_Drawing.LastModifiedDate");
            fill(*drawings, withDate, user && keys.Has("Drawings", "T_Drawing.LastModifiedUser"));
            if (withDate) ConvertDate2Text(store, *drawings, "Drawing_LastModifiedDate");
        }
        store.DropTable(*history);
    });
}

void AddDrawingLastModified2(store::Store& store) {
    Trap("AddDrawingLastModified2", [&] {
        store.AddColumn("t_drawing", {"LastModifiedDate", ColumnType::DateTime()});
        store.UpdateFromJoin({.target = "t_drawing",
                              .source = "[t_history2]",
                              .on = "[t_drawing].[sp_id]=[t_history2].[sp_drawingid]",
                              .set = {{"LastModifiedDate", "[t_history2].[timestamp]"}}});
        store.DropTable("t_history2");
    });
}

void AddTaskToVmp(store::Store& store) {
    Trap("AddTaskToVmp", [&] {
        struct Entry {
            const char* table;
            const char* word;
        };
        for (const Entry& e : {Entry{"InlineComp_Prun", "Piping"}, Entry{"Eqp_Nozzle", "Equipment"},
                               Entry{"Instruments", "Instrument"}}) {
            const auto t = store.FindTable(e.table);
            if (!t) continue;
            store.AddColumn(*t, {"Task", ColumnType::Text(20)});
            store.Execute("UPDATE [" + *t + "] SET [Task]='" + e.word + "'");
        }
    });
}

}  // namespace tb::extraction
