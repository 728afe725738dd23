#pragma once
// Builds a plant the way a P&ID designer draws it: plant groups, drawings, equipment with
// nozzles, pipe runs routed from end to end through connectors, inline components and
// instruments, off-page connectors, loops, notes, labels, cases, history. Each call writes
// every row the object needs (model item, plant item, subtype, representation, symbol,
// connectors, piping points, relationships, history) at once, so rows of one object never
// disagree. Connectors always point at representations, never at model items.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "file_writer.h"
#include "rng.h"

namespace tb::sampleplant {

// "yyyy-mm-dd hh:mm:ss", `day` days after 2021-01-04, `seconds` after midnight.
std::string Timestamp(int day, int seconds);
// The same moment as an MS-DOS date and time (for ZIP entries).
std::pair<std::uint16_t, std::uint16_t> DosDateTime(int day, int seconds);
// A number as text with `decimals` places, the same on every machine.
std::string Fixed(double value, int decimals);

struct Group {
    std::string id;
    std::string name;
    std::string dirPath;
    int depth = 0;
    std::string unitCode;  // inherited down from the unit, for tags
};

struct Drawing {
    std::string id;
    std::string name;
    std::string path;  // relative to the plant folder, with '\'; empty for none
    std::string groupId;
    std::string unitCode;
    int day = 0;
    int nextOid = 101;
    bool active = true;
    int ordinal = 0;  // items drawn so far, drives the history rule
    // Model items drawn on this sheet, for the stored version data.
    std::vector<std::pair<std::string, std::string>> items;  // (id, type)
};

// An object placed on a drawing: its model item and its representation there.
struct Placed {
    std::string item;
    std::string rep;
    double x = 0;
    double y = 0;
    bool hasPoints = true;  // false for branch points, OPCs and other items without piping points
};

// One end of a connector: a representation (empty for an open end) and the piping point
// index on its item (0 where the item has none).
struct Stop {
    std::string rep;
    int point = 0;
    double x = 0;
    double y = 0;
    std::string avoid;  // representation the connector steps around at this end
};
Stop At(const Placed& placed, int point = 0);
Stop Open(double x, double y);

struct DrawingSpec {
    std::string name;
    std::string number;
    std::string title;
    std::string description;
    std::string fileName;      // empty: no path
    std::string pathOverride;  // a full relative path, when the file does not follow the name
    const Group* group = nullptr;
    int day = 0;
    int itemStatus = 1;
    std::string documentType = "Process P&ID";
    std::string responsibility;
    bool satelliteSite = false;
    bool writeFile = true;  // false: the path names a file that is not in the plant folder
};

struct EquipSpec {
    std::string prefix, seq, suffix;
    std::string cls, subclass, type;
    std::string description;
    std::string material;
    std::string
        subtable;  // T_Vessel, T_Mechanical, T_Exchanger, T_EquipmentOther, T_EquipComponent
    std::vector<std::pair<std::string, std::string>> subText;  // text columns of the subtable
    std::string driver;                                        // T_Mechanical.DriverType
    std::string partOf;  // the parent equipment of a component
    bool tagged = true;
    std::string symbol;
    int itemStatus = 1;
    std::string supplyBy = "Vendor";
};

struct NozzleSpec {
    std::string seq;
    std::string size;
    std::string type = "Flanged Nozzle";
    std::string rating = "150#";
    std::string flow;
    std::string equipment;        // the equipment (or component) it belongs to
    std::string equipmentRep;     // its representation on this drawing, for the relationship
    bool linkEquipmentId = true;  // false: tied to the equipment through SP_PartOfID only
    std::string usage = "Process";
};

struct RunSpec {
    std::string seq;
    std::string suffix;
    std::string size;
    std::string fluid = "P";
    std::string fluidSystem = "Process";
    std::string spec = "A1A";
    std::string cls = "Piping";
    std::string type = "Primary Piping";
    std::string insulation;  // purpose; empty for none
    std::string insulThick;
    std::string trace = "None";
    std::string flow = "End 1 is upstream";
    bool zeroLength = false;
    bool slave = false;
    std::string description;
    std::string tag;  // overrides the computed tag when set
};

struct Run {
    std::string id;
    std::string tag;
    std::string size;
};

struct CompSpec {
    std::string type;
    std::string size;
    std::string size2;  // the far side of a reducer
    int points = 2;
    std::string operatorType;
    std::string tagSeq;  // tagged valves only
    bool specialty = false;
    std::string spec = "A1A";
    std::string rating = "150#";
    std::string symbol;  // overrides the symbol file
    bool stockpile = false;
};

struct InstrSpec {
    std::string mv;
    std::string modifier;
    std::string seq;
    std::string suffix;
    std::string loopSuffix;
    std::string cls;
    std::string type;
    bool isInline = false;
    std::string size;
    std::string range;
    std::string description;
    std::vector<std::string> functions;
    std::vector<std::pair<std::string, std::string>> failModes;  // (action, "High" or "Low")
    std::string symbol;
    int points = 2;
};

struct CaseValues {
    std::string quality;  // Min, Max, Norm, Base
    double pressureBarg = 0;
    double temperatureC = 0;
    double flowKgH = 0;
};

class PlantBuilder {
  public:
    PlantBuilder(FileWriter& data, FileWriter& structure, std::uint64_t seed);

    std::string NewId();
    FileWriter& data() { return data_; }

    // Plant structure, written to the plant data and the plant structure schema alike.
    Group AddRootGroup(const std::string& name, const std::string& description);
    Group AddGroup(const Group& parent, const std::string& name, const std::string& type,
                   const std::string& description, const std::string& code);
    // Two WorkShare sites; the host is the active one (in the plant structure only).
    void AddSites();

    Drawing AddDrawing(const DrawingSpec& spec);
    void AddRevision(const Drawing& d, const std::string& major, const std::string& minor, int day,
                     bool nullDate = false);
    // A stored version, tied to the drawing's latest revision when `withRevision`.
    void AddVersion(const Drawing& d, int number, int day, bool withRevision);
    void AddFrames(const Drawing& d, int auxGraphics);
    void AddDrawingHistory(const Drawing& d, int modifications);

    Placed AddEquipment(Drawing& d, const Group& g, const EquipSpec& spec, double x, double y);
    // The same equipment drawn once more on another sheet.
    std::string DrawAgain(Drawing& d, const std::string& item, const std::string& symbol, double x,
                          double y);
    Placed AddNozzle(Drawing& d, const Group& g, const NozzleSpec& spec, double x, double y,
                     int quarterTurns = 0);

    Run AddRun(Drawing& d, const Group& g, const RunSpec& spec);
    // Connectors between consecutive stops; returns their representations. Each connector
    // gets a relationship row to the symbols at its ends unless `relate` is false.
    std::vector<std::string> Route(Drawing& d, const Run& run, const std::vector<Stop>& stops,
                                   bool zeroLength = false, bool relate = true);
    // A run from `start` through inline items (their points 1 and 2, or branch points) to
    // `end`: one connector per gap.
    std::vector<std::string> RouteThrough(Drawing& d, const Run& run, const Stop& start,
                                          const std::vector<Placed>& inlines, const Stop& end,
                                          bool zeroLength = false);
    Placed AddBranchPoint(Drawing& d, const Run& run, double x, double y);

    // A piping component; inline on `run` when it is given (a valve in the drawing stockpile
    // has none).
    Placed AddPipingComp(Drawing& d, const Group& g, const Run* run, const CompSpec& spec, double x,
                         double y, int quarterTurns = 0);
    // An instrument; inline when `run` is given. Without a drawing it lies in the plant
    // stockpile and has no representation.
    Placed AddInstrument(Drawing* d, const Group& g, const InstrSpec& spec, const Run* run,
                         double x, double y);
    std::string AddSignal(Drawing& d, const Group& g, const Stop& from, const Stop& to,
                          const std::string& type = "Electric");
    Placed AddOPC(Drawing& d, const Group& g, const std::string& id, const std::string& tag,
                  const std::string& pairedWith, const std::string& type, double x, double y);
    Placed AddNote(Drawing& d, const std::string& text, const std::string& type, double x,
                   double y);
    void AddLabel(Drawing& d, const std::string& item, const std::string& labelledRep,
                  const std::string& type, double x, double y);

    std::string AddLoop(Drawing& d, const Group& g, const std::string& function,
                        const std::string& seq, const std::vector<std::string>& members,
                        const std::string& description);
    // Package, System (a test system) or SafetyClass with its members.
    std::string AddItemGroup(Drawing& d, const Group& g, const std::string& kind,
                             const std::string& tag, const std::string& name,
                             const std::vector<std::string>& members);

    void AddProcessCase(const std::string& item, const std::string& caseType,
                        const std::vector<CaseValues>& values);
    void AddControlCase(const std::string& item, const std::vector<CaseValues>& setPoints);
    void AddStatus(const std::string& item, const std::string& status, int day);
    // An extra modification of an item, beyond what the history rule gives.
    void AddModification(const std::string& item, const Drawing& d, int day, int seconds,
                         const std::string& actor);
    void AddAreaBreak(const std::string& parent, const std::string& name, const std::string& value);

    Placed AddDuctRun(Drawing& d, const Group& g, const std::string& tag, const std::string& type,
                      const std::string& size);
    Placed AddDuctingComp(Drawing& d, const Group& g, const std::string& ductRun,
                          const std::string& type, double x, double y);

    // Low-level rows, for the deliberate debris of the showcase.
    void AddModelItem(const std::string& id, const std::string& type,
                      const std::string& description, int itemStatus = 1);
    void AddPlantItem(const std::string& id, const std::string& type, const std::string& tag,
                      const std::string& groupId, const std::string& partOf = {},
                      const std::string& name = {}, const std::string& supplyBy = {});
    std::string AddRep(Drawing& d, const std::string& item, const std::string& repType,
                       const std::string& fileName, bool stockpile = false);
    void AddSymbolRow(const std::string& rep, double x, double y, int quarterTurns);
    void AddConnectorRow(const std::string& rep, const Stop& a, const Stop& b, bool zeroLength,
                         int vertices);
    std::string AddRelationship(const Drawing& d, const std::string& rep1, const std::string& rep2);
    // A consistency check's finding on the relationship between two representations.
    void AddInconsistency(const Drawing& d, const std::string& rep1, const std::string& rep2,
                          const std::string& type, bool approved);
    // Created and modified events by the history rule (counts follow the drawing's ordinal).
    void AddItemHistory(Drawing& d, const std::string& item);

    // Files of the plant folder: relative path (with '\') and content.
    const std::vector<std::pair<std::string, std::string>>& drawingFiles() const { return files_; }

  private:
    void AddPipingPoints(const std::string& item, int count, const std::string& size,
                         const std::string& size2, const std::string& usage);
    std::string Actor(int n) const;

    FileWriter& data_;
    FileWriter& structure_;
    Rng ids_;
    std::vector<std::pair<std::string, std::string>> files_;
    std::vector<std::string> sites_;  // host, satellite
    std::string lastRevision_;
    std::string lastRevisionDrawing_;
    int relationshipOid_ = 5000;
    int revisionSequence_ = 0;
};

}  // namespace tb::sampleplant
