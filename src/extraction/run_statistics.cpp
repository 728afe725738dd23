// Run and label statistics.

#include "extraction/run_statistics.h"

#include <map>

#include "attributes/logged_trap.h"
#include "common/error.h"
#include "common/ini.h"
#include "common/log.h"
#include "common/text.h"
#include "extraction/attribute_keys.h"
#include "extraction/post_process.h"
#include "shell/program_settings.h"
#include "shell/settings.h"
#include "store/access_text.h"
#include "store/sql_functions.h"

namespace tb::extraction {
namespace {

namespace fs = std::filesystem;
using attributes::LoggedTrap;

// The configured key of a statistic that cannot be counted, named as the other unplaced keys are.
void LogStatisticLeftOut(std::string_view column, std::string_view reason) {
    LogKeyLeftOut("Others." + std::string(column), "InlineComp_Prun", reason);
}

}  // namespace

fs::path NotConnectedScratchFile(const fs::path& folder) {
    return folder / "Tarnbrook-scratch.sqlite";
}

std::string ListedTagsSql(bool slaveColumn) {
    return "SELECT PipeRun_ITEMTAG FROM InlineComp_Prun" +
           std::string(slaveColumn ? " WHERE lcase(jcat('', PipeRun_Slave)) <> 'true'" : "") +
           " GROUP BY PipeRun_ITEMTAG";
}

std::string NotConnectedRunsSql(const NotConnectedInputs& in) {
    // Each run once (InlineComp_Prun has a row per component); a Null tag or run never counts.
    std::string runs =
        "SELECT Piperun_sp_id AS run, PipeRun_ITEMTAG AS tag FROM InlineComp_Prun WHERE "
        "PipeRun_ITEMTAG IS NOT "
        "NULL AND Piperun_sp_id IS NOT NULL";
    if (in.pipingOnly) {
        // A run's class is that of its last t_piperun row; a Null class passes, no row does not.
        runs += in.runClass ? " AND Piperun_sp_id IN (SELECT Piperun_sp_id FROM t_piperun WHERE " +
                                  store::LastRowsFilter("t_piperun", "Piperun_sp_id") +
                                  " AND (lcase(Piperun_piperunclass) <> 'piping') IS NOT 1)"
                            : " AND 0";
    }
    runs += " GROUP BY Piperun_sp_id, PipeRun_ITEMTAG";
    // Only a tag of two runs or more can count: the others go before the joins.
    runs = "SELECT run, tag FROM (SELECT run, tag, count(*) OVER (PARTITION BY tag) AS n FROM (" +
           runs + ")) WHERE n >= 2";
    // The run's neighbour items: the ends of its connectors, the far ends of connectors that end on
    // it, and the tags of its off-page connectors. Its representations are looked up once.
    const std::string reps =
        "SELECT r.run, r.tag, p.REPRESENTATION_ID AS rep FROM runs r INNER JOIN PID p ON r.run = "
        "p.SP_ID";
    const std::string own =
        "SELECT x.run, x.tag, c.SP_CONNECTITEM1ID AS c1, c.SP_CONNECTITEM2ID AS c2 FROM reps x "
        "LEFT JOIN t_connector c ON x.rep = c.SP_ID";
    std::string nb =
        "SELECT run, tag, c1 AS cid FROM own UNION ALL SELECT run, tag, c2 FROM own UNION ALL "
        "SELECT x.run, x.tag, c.SP_CONNECTITEM1ID FROM reps x INNER JOIN t_connector c ON "
        "c.SP_CONNECTITEM2ID = x.rep UNION ALL SELECT x.run, x.tag, c.SP_CONNECTITEM2ID FROM reps "
        "x "
        "INNER JOIN t_connector c ON c.SP_CONNECTITEM1ID = x.rep";
    if (in.opcRun)
        nb += std::string(" UNION ALL SELECT r.run, r.tag, ") +
              (in.opcTag ? "o.Opc_opctag" : "NULL") +
              " AS cid FROM runs r INNER JOIN OPCs o ON r.run = o.Plantitem_SP_ID";
    // A (tag, item) pair that two runs of the tag share joins them; a run of a tag of two runs or
    // more that joins no other counts. Windows over two sorts (by tag and item, by tag and run)
    // instead of self-joins; the runs compare as text does everywhere, ignoring case.
    const std::string coll = " COLLATE " + std::string(store::kTextCollation);
    return "WITH runs AS (" + runs + "), reps AS (" + reps + "), own AS (" + own + "), nb AS (" +
           nb + "), touch AS (SELECT tag, run, cid IS NOT NULL AND (min(run) OVER item)" + coll +
           " <> max(run) OVER item AS joins FROM nb WINDOW item AS (PARTITION BY tag, cid)), "
           "per_run AS (SELECT tag, run, max(joins) AS joined FROM touch GROUP BY tag, run), "
           "counted AS (SELECT tag, run, joined, count(*) OVER (PARTITION BY tag) AS runs_of_tag "
           "FROM per_run) "
           "SELECT tag AS PipeRun_ITEMTAG, run AS Piperun_sp_id FROM counted WHERE runs_of_tag >= "
           "2 AND NOT joined "
           "AND tag IN (" +
           ListedTagsSql(in.slaveColumn) + ") ORDER BY 1, 2";
}

NotConnectedInputs NotConnectedInputsOf(const store::Store& st, bool runClassInstrument) {
    NotConnectedInputs in;
    in.slaveColumn = st.ColumnExists("InlineComp_Prun", "PipeRun_Slave");
    in.pipingOnly = !runClassInstrument;
    in.runClass = st.ColumnExists("t_piperun", "Piperun_piperunclass");
    in.opcRun = st.ColumnExists("OPCs", "Plantitem_SP_ID");
    in.opcTag = st.ColumnExists("OPCs", "Opc_opctag");
    return in;
}

int GetNotConnectedRunCount(const store::Store& st, std::string_view tag,
                            const NotConnectedInputs& in) {
    return LoggedTrap("GetNotConnectedRunCount", [&] {
        int count = 0;
        for (const store::Row& r : st.QueryRows(
                 "SELECT * FROM (" + NotConnectedRunsSql(in) + ") WHERE PipeRun_ITEMTAG = ?1",
                 {store::Value(std::string(tag))})) {
            LogLine(r[1].ToText());
            ++count;
        }
        return count;
    });
}

void AddNotConnectedRuns(store::Store& st, const fs::path& /*scratchFolder*/,
                         bool runClassInstrument) {
    LogLine("Calculating NotConnectedRuns...");
    if (!st.TableExists("InlineComp_Prun")) {
        LogLine("Category InlineComp_Prun does not exist.");
        LogStatisticLeftOut("NotConnectedRuns", "the category InlineComp_Prun does not exist");
        return;
    }
    if (!st.ColumnExists("InlineComp_Prun", "PipeRun_ITEMTAG")) {
        LogLine("Column PipeRun_ITEMTAG does not exist in the category InlineComp_Prun.");
        LogStatisticLeftOut("NotConnectedRuns",
                            "it counts by PipeRun_ITEMTAG, which InlineComp_Prun lacks");
        return;
    }
    if (!st.TableExists("Opcs")) {
        LogLine("Category Opcs does not exist.");
        LogStatisticLeftOut("NotConnectedRuns",
                            "it counts the OPCs, and the category OPCs is not built");
        return;
    }
    LoggedTrap("AddNotConnectedRuns", [&] {
        const NotConnectedInputs in = NotConnectedInputsOf(st, runClassInstrument);
        std::vector<std::string> tags;
        for (const store::Row& r : st.QueryRows(ListedTagsSql(in.slaveColumn)))
            if (!r[0].isNull()) tags.push_back(r[0].ToText());
        if (tags.empty()) return;
        st.AddColumn("InlineComp_Prun", {"NotConnectedRuns", store::ColumnType::Long()});
        st.ExecuteCount("UPDATE InlineComp_Prun SET NotConnectedRuns = 0");
        // The runs that count, for every listed tag at once; the log names each tag and run.
        ScratchTables scratch(st);
        st.SelectInto(NotConnectedRunsSql(in), scratch.Claim("t_loose"));
        std::map<std::string, std::vector<std::string>> loose;
        for (const store::Row& r :
             st.QueryRows("SELECT PipeRun_ITEMTAG, Piperun_sp_id FROM t_loose"))
            loose[store::ToLowerUnicode(r[0].ToText())].push_back(r[1].ToText());
        for (const std::string& tag : tags) {
            LogLine(tag + "...");
            if (const auto found = loose.find(store::ToLowerUnicode(tag)); found != loose.end())
                for (const std::string& run : found->second) LogLine(run);
            CheckCancelled();
        }
        st.ExecuteCount(
            "UPDATE InlineComp_Prun SET NotConnectedRuns = m.n FROM (SELECT PipeRun_ITEMTAG AS "
            "tag, "
            "count(*) AS n FROM t_loose GROUP BY PipeRun_ITEMTAG) m WHERE "
            "InlineComp_Prun.PipeRun_ITEMTAG = m.tag");
        LogLine("done");
    });
}

void AddNotConnectedRuns(store::Store& st) {
    AddNotConnectedRuns(
        st, shell::SessionTempFolder(),
        shell::ProgramSetting("RunClassInstrument", "0", "NotConnectedRuns") == "1");
}

std::vector<std::string> PipingLabelFiles(const fs::path& attributeIni) {
    std::vector<std::string> out;
    for (const std::string& part : Split(IniRead(attributeIni, "Labels", "Piping"), ";")) {
        const std::string name = ToLowerAscii(TrimSpace(part));
        if (!name.empty()) out.push_back(name);
    }
    return out;
}

void AddNumberOfLabels(store::Store& st, const fs::path& attributeIni) {
    LogLine("Calculating NumberOfLabels...");
    if (!st.TableExists("InlineComp_Prun")) {
        LogLine("Category InlineComp_Prun does not exist.");
        LogStatisticLeftOut("NumberOfLabels", "the category InlineComp_Prun does not exist");
        return;
    }
    const std::vector<std::string> files = PipingLabelFiles(attributeIni);
    if (files.empty()) {
        LogLine("Piping label file name is not defined in the project configuration file " +
                attributeIni.string());
        LogStatisticLeftOut("NumberOfLabels",
                            "no piping label file is named in the configuration (Labels, Piping)");
        return;
    }
    LoggedTrap("AddNumberOfLabels", [&] {
        ScratchTables scratch(st);
        const std::string labels = scratch.Claim("T_LABELPERSIST2"),
                          counts = scratch.Claim("t_temp_labels");
        std::vector<std::string> quoted;
        for (const std::string& f : files) quoted.push_back(SqlLiteral(f));
        st.SelectInto(
            "SELECT T_LABELPERSIST.SP_ID, T_LABELPERSIST.SP_REPRESENTATIONID FROM T_LABELPERSIST, "
            "PID WHERE "
            "T_LABELPERSIST.SP_ID = PID.REPRESENTATION_ID AND lcase(PID.FileName) IN (" +
                Join(quoted, ",") + ")",
            labels);
        st.SelectInto(
            "SELECT PID.SP_ID, count(l.SP_ID) AS LabelCount FROM T_LABELPERSIST2 l INNER JOIN PID "
            "ON "
            "l.SP_REPRESENTATIONID = PID.REPRESENTATION_ID GROUP BY PID.SP_ID",
            counts);
        st.IndexColumn("SP_ID", counts);
        st.AddColumn("InlineComp_Prun", {"NumberOfLabels", store::ColumnType::Long()});
        st.ExecuteCount("UPDATE InlineComp_Prun SET NumberOfLabels = 0");
        st.ExecuteCount(
            "UPDATE InlineComp_Prun SET NumberOfLabels = t.LabelCount FROM t_temp_labels t WHERE "
            "InlineComp_Prun.Piperun_sp_id = t.SP_ID");
        // Instrument runs have no piping labels; a zero-length stub needs none.
        if (st.TableExists("t_piperun") && st.ColumnExists("t_piperun", "Piperun_piperunclass"))
            st.ExecuteCount(
                "UPDATE InlineComp_Prun SET NumberOfLabels = NULL WHERE Piperun_sp_id IN (SELECT "
                "Piperun_sp_id FROM t_piperun WHERE lcase(Piperun_piperunclass) = 'instrument')");
        st.ExecuteCount(
            "UPDATE InlineComp_Prun SET NumberOfLabels = NULL WHERE NumberOfLabels = 0 AND "
            "Piperun_sp_id "
            "IN (SELECT p.SP_ID FROM PID p, t_connector t WHERE t.ISZEROLENGTH = 2 AND "
            "p.REPRESENTATION_ID = t.SP_ID)");
        LogLine("done");
    });
}

void AddMultiRep(store::Store& st) {
    LoggedTrap("AddMultiRep", [&] {
        if (!st.TableExists("Eqp_Nozzle")) return;
        ScratchTables scratch(st);
        const std::string multi = scratch.Claim("tempMultiRep");
        st.AddColumn("Eqp_Nozzle", {"MultiRep", store::ColumnType::Text(6)});
        st.ExecuteCount("UPDATE Eqp_Nozzle SET MultiRep = 'False'");
        if (!st.ColumnExists("Eqp_Nozzle", "Equipment_sp_id") ||
            !st.ColumnExists("Eqp_Nozzle", "Drawing_Name"))
            return;
        // Two rows of one equipment with different drawing names; the names compare ignoring case.
        st.SelectInto(
            "SELECT Equipment_sp_id FROM Eqp_Nozzle WHERE Equipment_sp_id IS NOT NULL GROUP BY "
            "Equipment_sp_id HAVING count(DISTINCT Drawing_Name) > 1",
            multi);
        st.ExecuteCount(
            "UPDATE Eqp_Nozzle SET MultiRep = 'True' WHERE Equipment_sp_id IN (SELECT "
            "Equipment_sp_id "
            "FROM tempMultiRep)");
    });
}

}  // namespace tb::extraction
