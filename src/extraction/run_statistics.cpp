// Run and label statistics.

#include "extraction/run_statistics.h"

#include <map>

#include "attributes/logged_trap.h"
#include "common/error.h"
#include "common/ini.h"
#include "common/log.h"
#include "extraction/attribute_keys.h"
#include "common/text.h"
#include "extraction/post_process.h"
#include "shell/program_settings.h"
#include "shell/settings.h"
#include "store/access_text.h"
#include "store/sql_functions.h"

namespace tb::extraction {
namespace {

namespace fs = std::filesystem;
using attributes::LoggedTrap;

constexpr std::string_view kScratch = "tb_scratch";

// The scratch file attached to the store under kScratch for as long as the object lives; the file
// goes with it.
class ScratchDatabase {
public:
    ScratchDatabase(store::Store& st, fs::path file) : st_(st), file_(std::move(file)) {
        std::error_code ec;
        fs::remove(file_, ec);
        st_.ExecuteCount("ATTACH DATABASE ?1 AS " + std::string(kScratch), {store::Value(file_.string())});
    }
    ~ScratchDatabase() {
        try {
            st_.Execute("DETACH DATABASE " + std::string(kScratch));
        } catch (const Error& e) {
            LogLine("The scratch database " + file_.string() + " could not be closed: " + e.description());
        }
        std::error_code ec;
        fs::remove(file_, ec);
    }
    ScratchDatabase(const ScratchDatabase&) = delete;
    ScratchDatabase& operator=(const ScratchDatabase&) = delete;

    // A table of text columns that compare ignoring case, filled by `select`.
    void Create(std::string_view table, const std::vector<std::string>& columns, std::string_view select) {
        std::vector<std::string> defs;
        for (const std::string& c : columns) defs.push_back("[" + c + "] TEXT COLLATE " + std::string(store::kTextCollation));
        const std::string name = std::string(kScratch) + ".[" + std::string(table) + "]";
        st_.Execute("CREATE TABLE " + name + " (" + Join(defs, ", ") + ")");
        st_.ExecuteCount("INSERT INTO " + name + " SELECT * FROM (" + std::string(select) + ")");
    }
    void Index(std::string_view table, const std::vector<std::string>& columns) {
        for (const std::string& c : columns)
            st_.Execute("CREATE INDEX " + std::string(kScratch) + ".[" + std::string(table) + "__" + c + "] ON [" +
                        std::string(table) + "] ([" + c + "])");
    }

private:
    store::Store& st_;
    fs::path file_;
};

// The runs of listed tags that touch no other run of their tag, for tags of two runs or more:
// (tag, run) rows in the order of tag and run. A run touches another when one of its neighbour
// items (cid) is a neighbour item of the other.
std::string NotConnectedRunsSql(std::string_view db, std::string_view tagFilter) {
    const std::string t = std::string(db) + ".t_not_connect";
    return "SELECT a.PipeRun_ITEMTAG, a.Piperun_sp_id FROM (SELECT PipeRun_ITEMTAG, Piperun_sp_id FROM " + t +
           " GROUP BY PipeRun_ITEMTAG, Piperun_sp_id) a WHERE " + std::string(tagFilter) +
           "(SELECT count(DISTINCT b.Piperun_sp_id) FROM " + t +
           " b WHERE b.PipeRun_ITEMTAG = a.PipeRun_ITEMTAG) >= 2 AND NOT EXISTS (SELECT 1 FROM " + t +
           " t1 INNER JOIN " + t +
           " t2 ON t1.cid = t2.cid WHERE t1.Piperun_sp_id = a.Piperun_sp_id AND t1.PipeRun_ITEMTAG = "
           "a.PipeRun_ITEMTAG AND t2.PipeRun_ITEMTAG = a.PipeRun_ITEMTAG AND t2.Piperun_sp_id <> a.Piperun_sp_id) "
           "ORDER BY 1, 2";
}

// The configured key of a statistic that cannot be counted, named as the other unplaced keys are.
void LogStatisticLeftOut(std::string_view column, std::string_view reason) {
    LogKeyLeftOut("Others." + std::string(column), "InlineComp_Prun", reason);
}

}  // namespace

fs::path NotConnectedScratchFile(const fs::path& folder) { return folder / "Tarnbrook-scratch.sqlite"; }

std::string NotConnectSql() {
    const std::string head = "SELECT InlineComp_Prun.Piperun_sp_id, InlineComp_Prun.PipeRun_ITEMTAG, ";
    const std::string fromRun =
        " FROM InlineComp_Prun INNER JOIN PID ON InlineComp_Prun.Piperun_sp_id = PID.SP_ID ";
    return head + "t_connector.SP_CONNECTITEM1ID AS cid, t_connector.SP_AVOIDITEM1ID AS caid, '' AS Piperun_piperunclass" +
           fromRun + "LEFT JOIN t_connector ON PID.REPRESENTATION_ID = t_connector.SP_ID UNION " + head +
           "t_connector.SP_CONNECTITEM2ID AS cid, t_connector.SP_AVOIDITEM2ID AS caid, '' AS Piperun_piperunclass" +
           fromRun + "LEFT JOIN t_connector ON PID.REPRESENTATION_ID = t_connector.SP_ID UNION " + head +
           "t_connector.SP_CONNECTITEM1ID AS cid, t_connector.SP_AVOIDITEM1ID AS caid, '' AS Piperun_piperunclass" +
           fromRun + "INNER JOIN t_connector ON t_connector.SP_CONNECTITEM2ID = PID.REPRESENTATION_ID UNION " + head +
           "t_connector.SP_CONNECTITEM2ID AS cid, t_connector.SP_AVOIDITEM2ID AS caid, '' AS Piperun_piperunclass" +
           fromRun + "INNER JOIN t_connector ON t_connector.SP_CONNECTITEM1ID = PID.REPRESENTATION_ID UNION " + head +
           "opcs.opc_opctag AS cid, '' AS caid, '' AS Piperun_piperunclass FROM InlineComp_Prun INNER JOIN opcs ON "
           "InlineComp_Prun.Piperun_sp_id = opcs.Plantitem_SP_ID";
}

int GetNotConnectedRunCount(const store::Store& st, std::string_view db, std::string_view tag) {
    return LoggedTrap("GetNotConnectedRunCount", [&] {
        int count = 0;
        for (const store::Row& r : st.QueryRows("SELECT * FROM (" + NotConnectedRunsSql(db, "") +
                                                    ") WHERE PipeRun_ITEMTAG = ?1",
                                                {store::Value(std::string(tag))})) {
            LogLine(r[1].ToText());
            ++count;
        }
        return count;
    });
}

void AddNotConnectedRuns(store::Store& st, const fs::path& scratchFolder, bool runClassInstrument) {
    LogLine("Calculating NotConnectedRuns...");
    if (!st.TableExists("InlineComp_Prun")) {
        LogLine("Category InlineComp_Prun does not exist.");
        LogStatisticLeftOut("NotConnectedRuns", "the category InlineComp_Prun does not exist");
        return;
    }
    if (!st.ColumnExists("InlineComp_Prun", "PipeRun_ITEMTAG")) {
        LogLine("Column PipeRun_ITEMTAG does not exist in the category InlineComp_Prun.");
        LogStatisticLeftOut("NotConnectedRuns", "it counts by PipeRun_ITEMTAG, which InlineComp_Prun lacks");
        return;
    }
    if (!st.TableExists("Opcs")) {
        LogLine("Category Opcs does not exist.");
        LogStatisticLeftOut("NotConnectedRuns", "it counts the OPCs, and the category OPCs is not built");
        return;
    }
    LoggedTrap("AddNotConnectedRuns", [&] {
        const bool slave = st.ColumnExists("InlineComp_Prun", "PipeRun_Slave");
        const std::string listed =
            "SELECT PipeRun_ITEMTAG FROM InlineComp_Prun" +
            std::string(slave ? " WHERE lcase(jcat('', PipeRun_Slave)) <> 'true'" : "") +
            " GROUP BY PipeRun_ITEMTAG";
        std::vector<std::string> tags;
        for (const store::Row& r : st.QueryRows(listed))
            if (!r[0].isNull()) tags.push_back(r[0].ToText());
        if (tags.empty()) return;
        st.AddColumn("InlineComp_Prun", {"NotConnectedRuns", store::ColumnType::Long()});
        st.ExecuteCount("UPDATE InlineComp_Prun SET NotConnectedRuns = 0");

        ScratchDatabase scratch(st, NotConnectedScratchFile(scratchFolder));
        // Only the columns the neighbour table reads are copied.
        const bool withClass = !runClassInstrument && st.ColumnExists("t_piperun", "Piperun_piperunclass");
        scratch.Create("InlineComp_Prun", {"Piperun_sp_id", "PipeRun_ITEMTAG"},
                       "SELECT Piperun_sp_id, PipeRun_ITEMTAG FROM main.InlineComp_Prun");
        scratch.Create("t_connector",
                       {"SP_ID", "SP_CONNECTITEM1ID", "SP_CONNECTITEM2ID", "SP_AVOIDITEM1ID", "SP_AVOIDITEM2ID"},
                       "SELECT SP_ID, SP_CONNECTITEM1ID, SP_CONNECTITEM2ID, SP_AVOIDITEM1ID, SP_AVOIDITEM2ID FROM "
                       "main.t_connector");
        scratch.Create("PID", {"SP_ID", "REPRESENTATION_ID"}, "SELECT SP_ID, REPRESENTATION_ID FROM main.PID");
        scratch.Create("opcs", {"Plantitem_SP_ID", "opc_opctag"},
                       std::string("SELECT ") +
                           (st.ColumnExists("OPCs", "Plantitem_SP_ID") ? "Plantitem_SP_ID" : "NULL") + ", " +
                           (st.ColumnExists("OPCs", "Opc_opctag") ? "Opc_opctag" : "NULL") + " FROM main.OPCs");
        if (withClass)
            scratch.Create("t_piperun", {"Piperun_sp_id", "Piperun_piperunclass"},
                           "SELECT Piperun_sp_id, Piperun_piperunclass FROM main.t_piperun");
        scratch.Index("InlineComp_Prun", {"Piperun_sp_id", "PipeRun_ITEMTAG"});
        scratch.Index("t_connector", {"SP_CONNECTITEM1ID", "SP_CONNECTITEM2ID", "SP_ID"});
        scratch.Index("PID", {"SP_ID", "REPRESENTATION_ID"});
        scratch.Index("opcs", {"Plantitem_SP_ID"});
        const std::string s(kScratch);
        std::string branches = NotConnectSql();
        for (const char* t : {"InlineComp_Prun", "t_connector", "PID", "opcs"})
            branches = ReplaceAll(branches, std::string(" ") + t + " ", " " + s + "." + t + " ");
        scratch.Create("t_not_connect", {"Piperun_sp_id", "PipeRun_ITEMTAG", "cid", "caid", "Piperun_piperunclass"},
                       branches);
        scratch.Index("t_not_connect", {"Piperun_sp_id", "PipeRun_ITEMTAG", "cid", "caid"});
        if (!runClassInstrument) {
            if (withClass)
                st.ExecuteCount("UPDATE " + s + ".t_not_connect AS t SET Piperun_piperunclass = r.Piperun_piperunclass "
                                "FROM (SELECT Piperun_sp_id, Piperun_piperunclass FROM " + s +
                                ".t_piperun WHERE rowid IN (SELECT max(rowid) FROM " + s +
                                ".t_piperun GROUP BY Piperun_sp_id)) r WHERE t.Piperun_sp_id = r.Piperun_sp_id");
            st.ExecuteCount("DELETE FROM " + s + ".t_not_connect WHERE lcase(Piperun_piperunclass) <> 'piping'");
        }
        // The runs that count, for every listed tag at once; the log names each tag and run.
        const std::string filter = "a.PipeRun_ITEMTAG IN (" + listed + ") AND ";
        st.Execute("CREATE TABLE " + s + ".t_loose AS " + NotConnectedRunsSql(s, filter));
        std::map<std::string, std::vector<std::string>> loose;
        for (const store::Row& r : st.QueryRows("SELECT PipeRun_ITEMTAG, Piperun_sp_id FROM " + s + ".t_loose"))
            loose[store::ToLowerUnicode(r[0].ToText())].push_back(r[1].ToText());
        for (const std::string& tag : tags) {
            LogLine(tag + "...");
            if (const auto found = loose.find(store::ToLowerUnicode(tag)); found != loose.end())
                for (const std::string& run : found->second) LogLine(run);
            CheckCancelled();
        }
        st.ExecuteCount("UPDATE InlineComp_Prun SET NotConnectedRuns = m.n FROM (SELECT PipeRun_ITEMTAG AS tag, "
                        "count(*) AS n FROM " + s + ".t_loose GROUP BY PipeRun_ITEMTAG) m WHERE "
                        "InlineComp_Prun.PipeRun_ITEMTAG = m.tag");
        LogLine("done");
    });
}

void AddNotConnectedRuns(store::Store& st) {
    AddNotConnectedRuns(st, shell::SessionTempFolder(),
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
        LogLine("Piping label file name is not defined in the project configuration file " + attributeIni.string());
        LogStatisticLeftOut("NumberOfLabels", "no piping label file is named in the configuration (Labels, Piping)");
        return;
    }
    LoggedTrap("AddNumberOfLabels", [&] {
        ScratchTables scratch(st);
        const std::string labels = scratch.Claim("T_LABELPERSIST2"), counts = scratch.Claim("t_temp_labels");
        std::vector<std::string> quoted;
        for (const std::string& f : files) quoted.push_back(SqlLiteral(f));
        st.SelectInto("SELECT T_LABELPERSIST.SP_ID, T_LABELPERSIST.SP_REPRESENTATIONID FROM T_LABELPERSIST, PID WHERE "
                      "T_LABELPERSIST.SP_ID = PID.REPRESENTATION_ID AND lcase(PID.FileName) IN (" +
                          Join(quoted, ",") + ")",
                      labels);
        st.SelectInto("SELECT PID.SP_ID, count(l.SP_ID) AS LabelCount FROM T_LABELPERSIST2 l INNER JOIN PID ON "
                      "l.SP_REPRESENTATIONID = PID.REPRESENTATION_ID GROUP BY PID.SP_ID",
                      counts);
        st.IndexColumn("SP_ID", counts);
        st.AddColumn("InlineComp_Prun", {"NumberOfLabels", store::ColumnType::Long()});
        st.ExecuteCount("UPDATE InlineComp_Prun SET NumberOfLabels = 0");
        st.ExecuteCount("UPDATE InlineComp_Prun SET NumberOfLabels = t.LabelCount FROM t_temp_labels t WHERE "
                        "InlineComp_Prun.Piperun_sp_id = t.SP_ID");
        // Instrument runs have no piping labels; a zero-length stub needs none.
        if (st.TableExists("t_piperun") && st.ColumnExists("t_piperun", "Piperun_piperunclass"))
            st.ExecuteCount("UPDATE InlineComp_Prun SET NumberOfLabels = NULL WHERE Piperun_sp_id IN (SELECT "
                            "Piperun_sp_id FROM t_piperun WHERE lcase(Piperun_piperunclass) = 'instrument')");
        st.ExecuteCount("UPDATE InlineComp_Prun SET NumberOfLabels = NULL WHERE NumberOfLabels = 0 AND Piperun_sp_id "
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
        if (!st.ColumnExists("Eqp_Nozzle", "Equipment_sp_id") || !st.ColumnExists("Eqp_Nozzle", "Drawing_Name"))
            return;
        // Two rows of one equipment with different drawing names; the names compare ignoring case.
        st.SelectInto("SELECT Equipment_sp_id FROM Eqp_Nozzle WHERE Equipment_sp_id IS NOT NULL GROUP BY "
                      "Equipment_sp_id HAVING count(DISTINCT Drawing_Name) > 1",
                      multi);
        st.ExecuteCount("UPDATE Eqp_Nozzle SET MultiRep = 'True' WHERE Equipment_sp_id IN (SELECT Equipment_sp_id "
                        "FROM tempMultiRep)");
    });
}

}  // namespace tb::extraction
