#pragma once
// Revisions and drawing dates: the revision rows of each drawing in Drawings, its last, last but
// one, last but two and first revision numbers, and the time and user of its last change.

#include <string>
#include <string_view>
#include <vector>

#include "extraction/attribute_keys.h"
#include "extraction/plant_sql.h"
#include "store/store.h"

namespace tb::extraction {

// Reads the plant's revisions: T_Revision with the configured revision columns (renamed
// "Revision_<col>") and, when configured, VersionAssociated; t_lastrevision (sp_id, major and
// minor number, sp_drawingid, newest first within a drawing by the plant's order of
// sp_revisiondate) when a computed revision number is configured. All revisions of the plant are
// read; the join to Drawings picks those of the extract's drawings.
void ExtractTRevision(const PlantSchema& plant, store::Store& store, const AttributeKeys& keys);

// The revision columns of the Drawings category: its "T_Revision." keys that the plant's
// t_revision has (`revisionColumns`), each once, then SP_ID and SP_DRAWINGID. The computed
// "T_Revision.VersionAssociated" counts as a key that stands, so that its table is made.
std::vector<std::string> GetCols4Revision(const AttributeKeys& keys,
                                          const std::vector<std::string>& revisionColumns);

// The four computed revision numbers of the Drawings category.
struct RevisionColumnFlags {
    bool first = false;  // "Others.FirstRevision"
    bool last2 = false;  // "Others.Last-2Revision"
    bool last1 = false;  // "Others.Last-1Revision"
    bool last = false;   // "Others.LastRevision"
    bool any() const { return first || last2 || last1 || last; }
};
RevisionColumnFlags GetRevisionColumnFlags(const AttributeKeys& keys);

// The column VersionAssociated of T_Revision: 'True' for a revision that a drawing version names
// (rows of the working table t_drawingversion), else 'False'. Drops t_drawingversion.
void AddVersionAssociated(store::Store& store);

// After the category chains: the revision rows joined to Drawings (one row per revision), then
// the computed revision numbers from t_lastrevision, whose rows stand newest first within a
// drawing. Drops the working tables.
void AddRevision2Drawings(store::Store& store, const AttributeKeys& keys);

// The newest creating (eventtype 3) and modifying (eventtype 2) event of each item of the table
// `history` (sp_modelitemid, timestamp, actor, eventtype), one row per item: item,
// created_timestamp, created_actor, modified_timestamp, modified_actor. "Newest" is the last row
// in stored order, as the history is stored ordered by timestamp. An event not asked for gives
// no columns.
std::string LastHistoryEventsSql(std::string_view history, bool created, bool modified);

// Adds to t_plantitem the history columns `flags` asks for (CreatedDate, CreatedUser,
// LastModifiedDate, LastModifiedUser) from the table t_history, in one update, with the dates
// as text; t_history is dropped.
struct HistoryFlags;
void AddPlantItemHistory(store::Store& store, const HistoryFlags& flags);

// The time and user of each drawing's last change, from the working table t_history
// (sp_drawingid, and timestamp and actor as flagged), into PID and, as far as its category asks,
// into Drawings (whose date then becomes text). Where a drawing has several history rows, the
// last one in stored order wins. Drops t_history.
void AddDrawingLastModified(store::Store& store, const AttributeKeys& keys, bool date, bool user);
// The viewer form: t_drawing.LastModifiedDate from t_history2. Drops t_history2.
void AddDrawingLastModified2(store::Store& store);

// The column Task of the package's category tables: "Piping", "Equipment", "Instrument".
void AddTaskToVmp(store::Store& store);

}  // namespace tb::extraction
