#include "showcase.h"

namespace tb::sampleplant {
namespace {

const char* const kDrum = "\\Equipment\\Vessels\\Horizontal Drum.sym";
const char* const kPump = "\\Equipment\\Pumps\\Centrifugal Pump.sym";

CompSpec Valve(const std::string& type, const std::string& size, int points = 2) {
    CompSpec spec;
    spec.type = type;
    spec.size = size;
    spec.points = points;
    spec.operatorType = type == "Check Valve" ? "" : "Handwheel";
    return spec;
}

RunSpec Line(const std::string& seq, const std::string& size, const std::string& fluid = "P") {
    RunSpec spec;
    spec.seq = seq;
    spec.size = size;
    spec.fluid = fluid;
    return spec;
}

// A small-bore connection of instrument class from a process point to an instrument.
RunSpec ImpulseLine(const std::string& size) {
    RunSpec spec;
    spec.size = size;
    spec.cls = "Instrument";
    spec.type = "Connect to Process";
    spec.spec = "T1A";
    return spec;
}

EquipSpec Pump(const std::string& seq, const std::string& suffix) {
    EquipSpec spec;
    spec.prefix = "P";
    spec.seq = seq;
    spec.suffix = suffix;
    spec.cls = "Pump";
    spec.subclass = "Centrifugal Pump";
    spec.type = "Overhung Pump";
    spec.description = "Feed Pump";
    spec.material = "CS";
    spec.subtable = "T_Mechanical";
    spec.subText = {{"RatedPower", "15 kW"}};
    spec.driver = "Electric Motor";
    spec.symbol = kPump;
    return spec;
}

NozzleSpec Nozzle(const Placed& equipment, const std::string& seq, const std::string& size) {
    NozzleSpec spec;
    spec.seq = seq;
    spec.size = size;
    spec.equipment = equipment.item;
    spec.equipmentRep = equipment.rep;
    return spec;
}

InstrSpec Instrument(const std::string& mv, const std::string& modifier, const std::string& seq,
                     const std::string& cls, const std::string& type) {
    InstrSpec spec;
    spec.mv = mv;
    spec.modifier = modifier;
    spec.seq = seq;
    spec.cls = cls;
    spec.type = type;
    return spec;
}

}  // namespace

void AddShowcase(PlantBuilder& b, const Group& root) {
    const Group area = b.AddGroup(root, "Area10", "Area", "Feed area", "10");
    const Group u11 = b.AddGroup(area, "Unit11", "Unit", "Feed preparation", "11");
    const Group u12 = b.AddGroup(area, "Unit12", "Unit", "Feed preheat", "12");
    // A section below a unit: it has no unit code of its own and inherits "12".
    const Group s12 = b.AddGroup(u12, "U12-S1", "Section", "Preheat drains", "");

    DrawingSpec spec1;
    spec1.name = "PID-11-01";
    spec1.number = "TB-11-PID-001";
    spec1.title = "Feed Drum V-1101 and Feed Pumps";
    spec1.description = "Feed drum, feed pumps and flow control";
    spec1.fileName = "PID-11-01.pid";
    spec1.group = &u11;
    spec1.day = 0;
    spec1.responsibility = "Process";
    Drawing d1 = b.AddDrawing(spec1);

    DrawingSpec spec2;
    spec2.name = "PID-12-01";
    spec2.number = "TB-12-PID-001";
    spec2.title = "Feed Preheater E-1201";
    spec2.description =
        "Preheater section (Vorw\xC3\xA4rmer, \xE9\xA2\x84\xE7\x83\xAD\xE5\x99\xA8)";
    spec2.fileName = "PID-12-01.pid";
    spec2.group = &u12;
    spec2.day = 20;
    spec2.satelliteSite = true;
    spec2.responsibility = "Process";
    Drawing d2 = b.AddDrawing(spec2);

    DrawingSpec spec3;
    spec3.name = "PID-12-02";
    spec3.number = "TB-12-PID-002";
    spec3.title = "Preheat Section Drains";
    spec3.fileName = "PID-12-02.pid";
    // The file was copied from another sheet and never renamed: its base name is that of
    // PID-11-01's file, in another folder.
    spec3.pathOverride = "\\Area10\\Unit12\\U12-S1\\PID-11-01.pid";
    spec3.group = &s12;
    spec3.day = 45;
    Drawing d3 = b.AddDrawing(spec3);

    DrawingSpec spec4;
    spec4.name = "PID-11-02";
    spec4.number = "TB-11-PID-002";
    spec4.title = "Old Pump Area (superseded)";
    spec4.fileName = "PID-11-02.pid";
    spec4.group = &u11;
    spec4.day = 10;
    spec4.itemStatus = 4;  // deleted: never extracted
    Drawing d4 = b.AddDrawing(spec4);

    // ------------------------------------------------------------ PID-11-01
    EquipSpec drumSpec;
    drumSpec.prefix = "V";
    drumSpec.seq = "1101";
    drumSpec.cls = "Vessel";
    drumSpec.subclass = "Drum";
    drumSpec.type = "Horizontal Drum";
    drumSpec.description = "Feed Drum";
    drumSpec.material = "CS";
    drumSpec.subtable = "T_Vessel";
    drumSpec.subText = {
        {"DiameterInternal", "1800 mm"}, {"LengthTanToTan", "5400 mm"}, {"VolumeRating", "15 m3"}};
    drumSpec.symbol = kDrum;
    const Placed drum = b.AddEquipment(d1, u11, drumSpec, 0.30, 0.35);
    NozzleSpec n1 = Nozzle(drum, "1", "4\"");
    n1.flow = "End 1 is upstream";
    const Placed drumN1 = b.AddNozzle(d1, u11, n1, 0.22, 0.40, 2);
    NozzleSpec n2 = Nozzle(drum, "2", "6\"");
    n2.flow = "End 2 is upstream";
    const Placed drumN2 = b.AddNozzle(d1, u11, n2, 0.34, 0.30, 3);
    const Placed drumN3 = b.AddNozzle(d1, u11, Nozzle(drum, "3", "2\""), 0.38, 0.40, 0);
    NozzleSpec n4 = Nozzle(drum, "4", "1\"");
    n4.usage = "Vent";
    const Placed drumN4 = b.AddNozzle(d1, u11, n4, 0.30, 0.42, 1);
    const Placed drumN5 = b.AddNozzle(d1, u11, Nozzle(drum, "5", "3\""), 0.26, 0.42, 1);
    NozzleSpec n6 = Nozzle(drum, "6", "2\"");
    n6.type = "Instrument Nozzle";
    n6.linkEquipmentId = false;  // tied to the drum through SP_PartOfID only
    const Placed drumN6 = b.AddNozzle(d1, u11, n6, 0.36, 0.32, 0);

    const Placed pumpA = b.AddEquipment(d1, u11, Pump("1101", "A"), 0.55, 0.20);
    const Placed pumpAN1 = b.AddNozzle(d1, u11, Nozzle(pumpA, "1", "4\""), 0.53, 0.20, 2);
    const Placed pumpAN2 = b.AddNozzle(d1, u11, Nozzle(pumpA, "2", "3\""), 0.55, 0.22, 1);
    const Placed pumpB = b.AddEquipment(d1, u11, Pump("1101", "B"), 0.55, 0.08);
    const Placed pumpBN1 = b.AddNozzle(d1, u11, Nozzle(pumpB, "1", "4\""), 0.53, 0.08, 2);
    const Placed pumpBN2 = b.AddNozzle(d1, u11, Nozzle(pumpB, "2", "3\""), 0.55, 0.10, 1);

    const std::string pairA1 = b.NewId();  // OPC-1103 on PID-11-01
    const std::string pairA2 = b.NewId();  // its mate on PID-12-01
    const std::string pairB1 = b.NewId();  // OPC-1202 on PID-12-01
    const std::string pairB2 = b.NewId();  // its mate on PID-12-02

    // 11001-P: from the battery limit (an unpaired OPC) through a gate valve into the drum.
    const Placed opcFeed = b.AddOPC(d1, u11, b.NewId(), "OPC-11001", "", "Piping OPC", 0.05, 0.40);
    RunSpec r1Spec = Line("001", "4\"");
    r1Spec.description = "Feed from tank farm";
    const Run r1 = b.AddRun(d1, u11, r1Spec);
    const Placed gv1 = b.AddPipingComp(d1, u11, &r1, Valve("Gate Valve", "4\""), 0.14, 0.40);
    const auto r1Conn = b.RouteThrough(d1, r1, At(opcFeed), {gv1}, At(drumN1, 1));
    b.AddLabel(d1, r1.id, r1Conn[0], "Line Number", 0.09, 0.41);

    // 11002-P: drum outlet, 6", reduced to 4" (the reducer splits the line into two runs of
    // one tag that touch), then to pump A; a branch point feeds pump B through 11005-P.
    const Run r2a = b.AddRun(d1, u11, Line("002", "6\""));
    CompSpec reducer = Valve("Concentric Reducer", "6\"");
    reducer.size2 = "4\"";
    reducer.operatorType = "";
    const Placed red = b.AddPipingComp(d1, u11, &r2a, reducer, 0.40, 0.24);
    const auto r2aConn = b.RouteThrough(d1, r2a, At(drumN2, 1), {}, At(red, 1));
    b.AddLabel(d1, r2a.id, r2aConn[0], "Line Number", 0.37, 0.26);
    b.AddLabel(d1, r2a.id, r2aConn[0], "Flow Arrow", 0.38, 0.25);
    const Run r2b = b.AddRun(d1, u11, Line("002", "4\""));
    const Placed bp1 = b.AddBranchPoint(d1, r2b, 0.45, 0.20);
    const Placed gv2 = b.AddPipingComp(d1, u11, &r2b, Valve("Gate Valve", "4\""), 0.49, 0.20);
    const auto r2bConn = b.RouteThrough(d1, r2b, At(red, 2), {bp1, gv2}, At(pumpAN1, 1));
    b.AddLabel(d1, r2b.id, r2bConn[1], "Line Number", 0.47, 0.21);
    const Run r5 = b.AddRun(d1, u11, Line("005", "4\""));
    const Placed gv3 = b.AddPipingComp(d1, u11, &r5, Valve("Gate Valve", "4\""), 0.49, 0.08);
    b.RouteThrough(d1, r5, At(bp1), {gv3}, At(pumpBN1, 1));

    // 11003-P: pump A discharge through check and gate valves, three branch points (pump B
    // joins, the minimum flow line leaves, a thermowell connects), the orifice FE-1101 and the
    // control valve FV-1101 (both inline instruments), to the off-page connector OPC-1103.
    const Run r3 = b.AddRun(d1, u11, Line("003", "3\""));
    const Placed cv1 = b.AddPipingComp(d1, u11, &r3, Valve("Check Valve", "3\""), 0.58, 0.28);
    const Placed gv4 = b.AddPipingComp(d1, u11, &r3, Valve("Gate Valve", "3\""), 0.60, 0.30);
    const Placed bp2 = b.AddBranchPoint(d1, r3, 0.62, 0.30);
    const Placed bp3 = b.AddBranchPoint(d1, r3, 0.64, 0.30);
    const Placed bp4 = b.AddBranchPoint(d1, r3, 0.66, 0.30);
    InstrSpec feSpec = Instrument("F", "E", "1101", "Primary Element", "Orifice Plate");
    feSpec.isInline = true;
    feSpec.points = 3;
    feSpec.description = "Feed flow orifice";
    const Placed fe = b.AddInstrument(&d1, u11, feSpec, &r3, 0.69, 0.30);
    InstrSpec fvSpec = Instrument("F", "V", "1101", "Control Valve", "Globe Control Valve");
    fvSpec.isInline = true;
    fvSpec.size = "3\"";
    fvSpec.description = "Feed flow control valve";
    fvSpec.failModes = {{"Fail Closed", "High"}, {"Fail Last Position", "Low"}};
    const Placed fv = b.AddInstrument(&d1, u11, fvSpec, &r3, 0.74, 0.30);
    const Placed bpIn = b.AddBranchPoint(d1, r3, 0.72, 0.30);
    const Placed bpOut = b.AddBranchPoint(d1, r3, 0.76, 0.30);
    const Placed opc1103 = b.AddOPC(d1, u11, pairA1, "OPC-1103", pairA2, "Piping OPC", 0.82, 0.30);
    const auto r3Conn = b.RouteThrough(d1, r3, At(pumpAN2, 1),
                                       {cv1, gv4, bp2, bp3, bp4, fe, bpIn, fv, bpOut}, At(opc1103));
    b.AddLabel(d1, r3.id, r3Conn[0], "Line Number", 0.57, 0.27);
    b.AddLabel(d1, r3.id, r3Conn.back(), "Line Number", 0.78, 0.31);
    b.AddLabel(d1, r3.id, r3Conn.back(), "Flow Arrow", 0.79, 0.29);
    // The control valve's bypass carries the same tag: the runs of 11003-P form a loop.
    RunSpec bypassSpec = Line("003", "2\"");
    bypassSpec.tag = "11003-P";
    const Run r3c = b.AddRun(d1, u11, bypassSpec);
    const Placed bypass = b.AddPipingComp(d1, u11, &r3c, Valve("Globe Valve", "2\""), 0.74, 0.25);
    b.RouteThrough(d1, r3c, At(bpIn), {bypass}, At(bpOut));
    // Pump B discharge joins 11003-P at its first branch point.
    const Run r6 = b.AddRun(d1, u11, Line("006", "3\""));
    const Placed cv2 = b.AddPipingComp(d1, u11, &r6, Valve("Check Valve", "3\""), 0.58, 0.12);
    const Placed gv5 = b.AddPipingComp(d1, u11, &r6, Valve("Gate Valve", "3\""), 0.60, 0.14);
    b.RouteThrough(d1, r6, At(pumpBN2, 1), {cv2, gv5}, At(bp2));
    // 11004-P: the minimum flow line back to the drum closes a loop of runs.
    const Run r4 = b.AddRun(d1, u11, Line("004", "2\""));
    const Placed glv = b.AddPipingComp(d1, u11, &r4, Valve("Globe Valve", "2\""), 0.52, 0.45);
    const auto r4Conn = b.RouteThrough(d1, r4, At(bp3), {glv}, At(drumN3, 1));
    b.AddLabel(d1, r4.id, r4Conn[1], "Line Number", 0.45, 0.46);

    // 11007-P: a vent of type Secondary Piping (2) through a gate valve to an open end; the
    // valve's third point carries the pressure gauge PI-1102, which reaches the drum nozzle
    // through the valve.
    RunSpec ventSpec = Line("007", "1\"");
    ventSpec.type = "Secondary Piping";
    const Run r7 = b.AddRun(d1, u11, ventSpec);
    const Placed gv6 = b.AddPipingComp(d1, u11, &r7, Valve("Gate Valve", "1\"", 3), 0.30, 0.48);
    b.RouteThrough(d1, r7, At(drumN4, 1), {gv6}, Open(0.30, 0.53));
    InstrSpec piSpec = Instrument("P", "I", "1102", "Local Indicator", "Pressure Gauge");
    piSpec.functions = {"Indicate"};
    piSpec.range = "0-16 barg";
    const Placed pi = b.AddInstrument(&d1, u11, piSpec, nullptr, 0.36, 0.52);
    const Run r8 = b.AddRun(d1, u11, ImpulseLine("1/2\""));
    b.Route(d1, r8, {At(gv6, 3), At(pi)});

    // 11009-P: the relief valve PSV-1101 sits on the drum nozzle N5 through a zero-length
    // stub; its outlet goes to the flare header, off the plant (an unpaired OPC).
    RunSpec stubSpec = Line("009", "3\"");
    stubSpec.zeroLength = true;
    const Run r9 = b.AddRun(d1, u11, stubSpec);
    InstrSpec psvSpec = Instrument("P", "SV", "1101", "Relief Device", "Pressure Safety Valve");
    psvSpec.isInline = true;
    psvSpec.size = "3\"";
    psvSpec.range = "Set 11.0 barg";
    const Placed psv = b.AddInstrument(&d1, u11, psvSpec, &r9, 0.26, 0.42);
    b.Route(d1, r9, {At(drumN5, 1), At(psv, 1)}, true);
    RunSpec flareSpec = Line("010", "4\"", "FL");
    flareSpec.fluidSystem = "Flare";
    const Run r10 = b.AddRun(d1, u11, flareSpec);
    const Placed opcFlare = b.AddOPC(d1, u11, b.NewId(), "FL-HDR", "", "Utility OPC", 0.26, 0.56);
    b.Route(d1, r10, {At(psv, 2), At(opcFlare)});

    // Level: LT-1101 on nozzle N6 through an impulse line, LIC-1101 in the control system.
    InstrSpec ltSpec = Instrument("L", "T", "1101", "Transmitter", "Level Transmitter");
    ltSpec.range = "0-1800 mm";
    const Placed lt = b.AddInstrument(&d1, u11, ltSpec, nullptr, 0.40, 0.36);
    const Run r11 = b.AddRun(d1, u11, ImpulseLine("2\""));
    b.Route(d1, r11, {At(drumN6, 1), At(lt)});
    InstrSpec licSpec = Instrument("L", "IC", "1101", "Controller", "DCS Controller");
    licSpec.functions = {"Indicate", "Control", "Alarm High", "Alarm Low"};
    const Placed lic = b.AddInstrument(&d1, u11, licSpec, nullptr, 0.44, 0.50);
    b.AddSignal(d1, u11, At(lt), At(lic));
    // LSH-1101's own connection has no far end and steps around LT-1101 (its avoid item):
    // it takes LT-1101's connected item, the drum nozzle N6.
    InstrSpec lshSpec = Instrument("L", "SH", "1101", "Switch", "Level Switch");
    lshSpec.functions = {"Switch", "Alarm High"};
    const Placed lsh = b.AddInstrument(&d1, u11, lshSpec, nullptr, 0.42, 0.40);
    const Run r11b = b.AddRun(d1, u11, ImpulseLine("1/2\""));
    Stop lshEnd = At(lsh);
    lshEnd.avoid = lt.rep;
    b.Route(d1, r11b, {Open(0.41, 0.38), lshEnd});

    // Flow: FT-1101 on the orifice's third point (it reaches 11003-P through the inline
    // instrument), FIC-1101, and the control valve.
    InstrSpec ftSpec = Instrument("F", "T", "1101", "Transmitter", "Flow Transmitter");
    ftSpec.range = "0-20000 kg/h";
    const Placed ft = b.AddInstrument(&d1, u11, ftSpec, nullptr, 0.69, 0.40);
    const Run r12 = b.AddRun(d1, u11, ImpulseLine("1/2\""));
    b.Route(d1, r12, {At(fe, 3), At(ft)});
    InstrSpec ficSpec = Instrument("F", "IC", "1101", "Controller", "DCS Controller");
    ficSpec.functions = {"Indicate", "Control", "Record"};
    const Placed fic = b.AddInstrument(&d1, u11, ficSpec, nullptr, 0.72, 0.48);
    b.AddSignal(d1, u11, At(ft), At(fic));
    b.AddSignal(d1, u11, At(fic), At(fv), "Pneumatic");

    // Temperature: TE-1103 on a branch point of 11003-P; TT-1103's own connection has no far
    // end and steps around TE-1103 (its avoid item), from which it takes its connected item.
    InstrSpec teSpec = Instrument("T", "E", "1103", "Primary Element", "Thermowell");
    const Placed te = b.AddInstrument(&d1, u11, teSpec, nullptr, 0.66, 0.36);
    const Run r13 = b.AddRun(d1, u11, ImpulseLine("1\""));
    b.Route(d1, r13, {At(bp4), At(te)});
    InstrSpec ttSpec = Instrument("T", "T", "1103", "Transmitter", "Temperature Transmitter");
    ttSpec.range = "0-150 degC";
    const Placed tt = b.AddInstrument(&d1, u11, ttSpec, nullptr, 0.66, 0.42);
    const Run r14 = b.AddRun(d1, u11, ImpulseLine("1/2\""));
    Stop ttEnd = At(tt);
    ttEnd.avoid = te.rep;
    b.Route(d1, r14, {Open(0.66, 0.39), ttEnd});

    b.AddLoop(d1, u11, "F", "1101", {fe.item, ft.item, fic.item, fv.item}, "Feed flow control");
    b.AddLoop(d1, u11, "L", "1101", {lt.item, lic.item, lsh.item}, "Feed drum level control");
    b.AddLoop(d1, u11, "T", "1103", {te.item, tt.item}, "Feed temperature");
    b.AddLoop(d1, u11, "P", "1199", {}, "Spare pressure loop (no instruments)");
    b.AddItemGroup(d1, u11, "Package", "PKG-1101", "Feed Pump Package", {pumpA.item, pumpB.item});
    b.AddItemGroup(d1, u11, "System", "HT-1101", "Hydrotest 11-1", {r1.id, r2a.id, r2b.id, r3.id});
    b.AddItemGroup(d1, u11, "SafetyClass", "SIS-1101", "Feed drum protection", {fv.item, lt.item});

    b.AddNote(d1, "NOTE 1:\r\nALL VENTS AND DRAINS NOT SHOWN.\tSEE PIPING CLASS A1A.",
              "General Note", 0.70, 0.55);
    b.AddLabel(d1, drum.item, drum.rep, "Item Tag", 0.30, 0.30);
    // A valve in the drawing's stockpile: drawn, not connected, not yet placed.
    CompSpec stockValve = Valve("Ball Valve", "2\"");
    stockValve.stockpile = true;
    b.AddPipingComp(d1, u11, nullptr, stockValve, 0.80, 0.55);

    b.AddProcessCase(r1.id, "ProcessDesign", {{"Max", 10.0, 80.0, 0}});
    b.AddProcessCase(r1.id, "ProcessOperating", {{"Norm", 6.0, 45.0, 12000}});
    b.AddProcessCase(r2a.id, "ProcessDesign", {{"Max", 10.0, 80.0, 0}});
    b.AddProcessCase(r2b.id, "ProcessDesign", {{"Max", 10.0, 80.0, 0}});
    b.AddProcessCase(r3.id, "ProcessDesign", {{"Max", 16.0, 80.0, 0}, {"Min", -1.0, -10.0, 0}});
    b.AddProcessCase(r3.id, "ProcessOperating",
                     {{"Norm", 12.0, 45.0, 12000}, {"Max", 13.5, 50.0, 15000}});
    b.AddProcessCase(drum.item, "ProcessDesign",
                     {{"Max", 10.0, 120.0, 0}, {"Min", -1.0, -10.0, 0}});
    b.AddProcessCase(pumpA.item, "ProcessDesign", {{"Max", 16.0, 80.0, 0}});
    b.AddControlCase(fv.item, {{"Max", 12.0, 0, 42000}, {"Min", 8.0, 0, 42000}});
    // Three more modifications of 11003-P, stored out of time order.
    b.AddModification(r3.id, d1, 90, 10 * 3600, "o'brien");
    b.AddModification(r3.id, d1, 60, 11 * 3600, "jsmith");
    b.AddModification(r3.id, d1, 75, 9 * 3600, "a.kowalski");
    b.AddAreaBreak(drum.item, "Revision.RevisionNumber", "B");
    b.AddAreaBreak(pumpA.item, "Revision.RevisionNumber", "A");
    b.AddAreaBreak(drum.item, "Revision.Date", "2021-05-04");

    b.AddRevision(d1, "A", "0", 30);
    b.AddVersion(d1, 1, 31, true);
    b.AddRevision(d1, "B", "", 120);  // no minor number
    b.AddRevision(d1, "0", "1", 200);
    b.AddVersion(d1, 2, 201, false);
    b.AddFrames(d1, 2);
    b.AddDrawingHistory(d1, 2);

    // ------------------------------------------------------------ PID-12-01
    const Placed opc1103b = b.AddOPC(d2, u12, pairA2, "OPC-1103", pairA1, "Piping OPC", 0.05, 0.30);
    EquipSpec exSpec;
    exSpec.prefix = "E";
    exSpec.seq = "1201";
    exSpec.cls = "Heat Exchanger";
    exSpec.subclass = "Shell and Tube Exchanger";
    exSpec.type = "TEMA AES";
    exSpec.description = "Feed Preheater";
    exSpec.material = "CS/SS";
    exSpec.subtable = "T_Exchanger";
    exSpec.subText = {{"HeatDuty", "850 kW"}, {"TemaDesignation", "AES"}};
    exSpec.symbol = "\\Equipment\\Exchangers\\Shell and Tube AES.sym";
    const Placed ex = b.AddEquipment(d2, u12, exSpec, 0.45, 0.30);
    auto section = [&](const std::string& subclass, const std::string& type,
                       const std::string& name, double x) {
        EquipSpec s;
        s.cls = "Equipment Component";
        s.subclass = subclass;
        s.type = type;
        s.description = name;
        s.subtable = "T_EquipComponent";
        s.subText = {{"SectionName", name}};
        s.partOf = ex.item;
        s.tagged = false;
        s.symbol = "\\Equipment\\Exchangers\\TEMA " + name + ".sym";
        return b.AddEquipment(d2, u12, s, x, 0.30);
    };
    const Placed front =
        section("TEMA Exchanger Front Section", "Channel Type A", "Front Channel", 0.38);
    const Placed rear =
        section("TEMA Exchanger Rear Section", "Floating Head Type S", "Rear Head", 0.52);
    section("TEMA Exchanger Shell", "Shell Type E", "Shell", 0.45);
    // Tube side nozzles belong to the untagged front section.
    const Placed exN1 = b.AddNozzle(d2, u12, Nozzle(front, "1", "3\""), 0.37, 0.28, 2);
    const Placed exN2 = b.AddNozzle(d2, u12, Nozzle(front, "2", "3\""), 0.37, 0.32, 2);
    const Placed exN3 = b.AddNozzle(d2, u12, Nozzle(ex, "3", "2\""), 0.48, 0.34, 1);
    const Placed exN4 = b.AddNozzle(d2, u12, Nozzle(ex, "4", "1\""), 0.48, 0.26, 3);
    const Placed exN5 = b.AddNozzle(d2, u12, Nozzle(rear, "5", "1\""), 0.53, 0.27, 0);

    // 11003-P continues here from OPC-1103 through a strainer whose symbol file has no folder.
    RunSpec r3bSpec = Line("003", "3\"");
    r3bSpec.tag = "11003-P";
    const Run r3b = b.AddRun(d2, u12, r3bSpec);
    CompSpec strainer = Valve("Y-Strainer", "3\"");
    strainer.operatorType = "";
    strainer.symbol = "Y-Strainer Custom.sym";
    const Placed str = b.AddPipingComp(d2, u12, &r3b, strainer, 0.20, 0.28);
    const auto r3bConn = b.RouteThrough(d2, r3b, At(opc1103b), {str}, At(exN1, 1));
    b.AddLabel(d2, r3b.id, r3bConn[0], "Line Number", 0.10, 0.31);
    b.AddInconsistency(d2, r3bConn[1], exN1.rep, "Nominal diameter mismatch", false);
    b.AddInconsistency(d2, r3bConn[0], str.rep, "Piping materials class mismatch", true);
    // 12001-P: tube outlet to OPC-1202 (paired with PID-12-02); TI-1201 on a branch point.
    const Run r15 = b.AddRun(d2, u12, Line("001", "3\""));
    const Placed bp5 = b.AddBranchPoint(d2, r15, 0.30, 0.40);
    const Placed gv7 = b.AddPipingComp(d2, u12, &r15, Valve("Gate Valve", "3\""), 0.25, 0.40);
    const Placed opc1202 = b.AddOPC(d2, u12, pairB1, "OPC-1202", pairB2, "Piping OPC", 0.05, 0.40);
    const auto r15Conn = b.RouteThrough(d2, r15, At(exN2, 1), {bp5, gv7}, At(opc1202));
    b.AddLabel(d2, r15.id, r15Conn[0], "Line Number", 0.33, 0.41);
    InstrSpec tiSpec = Instrument("T", "I", "1201", "Local Indicator", "Temperature Gauge");
    tiSpec.functions = {"Indicate"};
    const Placed ti = b.AddInstrument(&d2, u12, tiSpec, nullptr, 0.30, 0.46);
    const Run r15i = b.AddRun(d2, u12, ImpulseLine("1\""));
    b.Route(d2, r15i, {At(bp5), At(ti)});
    // 12002-LS: steam to the shell, with the disabled fluid code "LS", from the steam header.
    RunSpec steamSpec = Line("002", "2\"", "LS");
    steamSpec.fluidSystem = "Steam";
    steamSpec.insulation = "Heat Conservation";
    steamSpec.insulThick = "50 mm";
    steamSpec.spec = "B1A";
    const Run r16 = b.AddRun(d2, u12, steamSpec);
    const Placed opcSteam = b.AddOPC(d2, u12, b.NewId(), "LS-HDR", "", "Utility OPC", 0.80, 0.45);
    const Placed bp6 = b.AddBranchPoint(d2, r16, 0.60, 0.45);
    const Placed gv8 = b.AddPipingComp(d2, u12, &r16, Valve("Globe Valve", "2\""), 0.55, 0.45);
    b.RouteThrough(d2, r16, At(opcSteam), {bp6, gv8}, At(exN3, 1));
    // Steam tracing taken off the steam line: pipe run class 2, which the extraction leaves out.
    RunSpec traceSpec;
    traceSpec.size = "1/2\"";
    traceSpec.fluid = "MS";
    traceSpec.fluidSystem = "Steam";
    traceSpec.cls = "Heat Tracing";
    traceSpec.type = "Heat Trace";
    traceSpec.spec = "T1A";
    traceSpec.trace = "Steam";
    const Run r18 = b.AddRun(d2, u12, traceSpec);
    b.Route(d2, r18, {At(bp6), Open(0.60, 0.55)});
    // 12003-SC: condensate through a tagged steam trap (a specialty item) to its header.
    RunSpec condSpec = Line("003", "1\"", "SC");
    condSpec.fluidSystem = "Steam";
    condSpec.insulation = "none";  // the insulation entry whose text is empty
    const Run r17 = b.AddRun(d2, u12, condSpec);
    CompSpec trap = Valve("Steam Trap", "1\"");
    trap.operatorType = "";
    trap.tagSeq = "001";
    trap.specialty = true;
    const Placed st = b.AddPipingComp(d2, u12, &r17, trap, 0.60, 0.20);
    b.Route(d2, r17, {At(exN4, 1), At(st, 1)});
    // The trap discharges into a line of another tag; that connection has no relationship row.
    RunSpec condOutSpec = Line("004", "1\"", "SC");
    condOutSpec.fluidSystem = "Steam";
    const Run r17b = b.AddRun(d2, u12, condOutSpec);
    const Placed opcCond = b.AddOPC(d2, u12, b.NewId(), "SC-HDR", "", "Utility OPC", 0.80, 0.20);
    b.Route(d2, r17b, {At(st, 2), At(opcCond)}, false, false);

    // PSV-1201 on the rear head through a zero-length stub that carries two labels.
    RunSpec stub2Spec = Line("007", "1\"", "MS");
    stub2Spec.fluidSystem = "Steam";
    stub2Spec.zeroLength = true;
    const Run r23 = b.AddRun(d2, u12, stub2Spec);
    InstrSpec psv2Spec = Instrument("P", "SV", "1201", "Relief Device", "Pressure Safety Valve");
    psv2Spec.isInline = true;
    psv2Spec.size = "1\"";
    const Placed psv2 = b.AddInstrument(&d2, u12, psv2Spec, &r23, 0.53, 0.22);
    const auto stub2 = b.Route(d2, r23, {At(exN5, 1), At(psv2, 1)}, true);
    b.AddLabel(d2, r23.id, stub2[0], "Line Number", 0.54, 0.24);
    b.AddLabel(d2, r23.id, stub2[0], "Size", 0.52, 0.24);
    RunSpec ventOut = Line("008", "2\"", "MS");
    ventOut.fluidSystem = "Steam";
    const Run r24 = b.AddRun(d2, u12, ventOut);
    b.Route(d2, r24, {At(psv2, 2), Open(0.53, 0.15)});

    // The feed drum drawn once more, with its manhole and a drain that carries the tag
    // 11002-P a third time, touching neither run of that tag on PID-11-01.
    const std::string drum2 = b.DrawAgain(d2, drum.item, kDrum, 0.75, 0.45);
    NozzleSpec n7 = Nozzle(drum, "7", "24\"");
    n7.equipmentRep = drum2;
    n7.type = "Manhole";
    b.AddNozzle(d2, u12, n7, 0.75, 0.50, 1);
    NozzleSpec n8 = Nozzle(drum, "8", "2\"");
    n8.equipmentRep = drum2;
    n8.usage = "Drain";
    const Placed drumN8 = b.AddNozzle(d2, u12, n8, 0.75, 0.40, 3);
    RunSpec r2zSpec = Line("002", "2\"");
    r2zSpec.tag = "11002-P";
    r2zSpec.type = "Secondary Piping";
    const Run r2z = b.AddRun(d2, u12, r2zSpec);
    const Placed gv9 = b.AddPipingComp(d2, u12, &r2z, Valve("Gate Valve", "2\""), 0.75, 0.35);
    b.RouteThrough(d2, r2z, At(drumN8, 1), {gv9}, Open(0.75, 0.30));

    // Ventilation of the preheater shelter: one duct run with two dampers, one without any.
    const Placed duct1 = b.AddDuctRun(d2, u12, "D-1201", "Supply Air", "600x400");
    const Placed fd = b.AddDuctingComp(d2, u12, duct1.item, "Fire Damper", 0.15, 0.10);
    const Placed vd = b.AddDuctingComp(d2, u12, duct1.item, "Volume Damper", 0.25, 0.10);
    const Run duct1Run{duct1.item, "D-1201", {}};
    b.RouteThrough(d2, duct1Run, Open(0.08, 0.10), {fd, vd}, Open(0.35, 0.10));
    const Placed duct2 = b.AddDuctRun(d2, u12, "D-1202", "Exhaust Air", "400x300");
    b.Route(d2, Run{duct2.item, "D-1202", {}}, {Open(0.08, 0.06), Open(0.35, 0.06)});

    b.AddNote(d2,
              "NOTE 2: PREHEATER E-1201 SHALL BE HYDROTESTED ON THE TUBE SIDE BEFORE THE SHELL "
              "SIDE. REMOVE THE FLOATING HEAD ONLY WITH THE BUNDLE SUPPORTED. CONDENSATE TO BE "
              "RETURNED TO THE SC HEADER; STEAM TRAP SP-12001 WITH BYPASS BY OTHERS. "
              "VORW\xC3\x84RMER-ABSCHNITT: DAMPF NUR NACH FREIGABE. \xE9\xA2\x84\xE7\x83\xAD"
              "\xE5\x99\xA8\xE7\x83\xAD\xE5\x8A\x9B\xE8\xAF\x95\xE9\xAA\x8C\xE8\xA7\x81\xE8\xA7"
              "\x84\xE6\xA0\xBC\xE4\xB9\xA6\xE3\x80\x82 SEE ALSO NOTE 1 ON PID-11-01.",
              "Reference Note", 0.70, 0.10);
    b.AddProcessCase(ex.item, "ProcessDesign", {{"Max", 16.0, 250.0, 0}});
    b.AddProcessCase(ex.item, "ProcessDesignTube", {{"Max", 16.0, 180.0, 0}});
    b.AddProcessCase(r16.id, "ProcessDesign", {{"Max", 10.0, 184.0, 0}});
    b.AddProcessCase(r3b.id, "ProcessDesign", {{"Max", 16.0, 80.0, 0}});
    b.AddRevision(d2, "A", "0", 60);
    b.AddVersion(d2, 1, 61, true);
    b.AddFrames(d2, 0);
    b.AddDrawingHistory(d2, 1);

    // ------------------------------------------------------------ PID-12-02
    const Placed opc1202b = b.AddOPC(d3, s12, pairB2, "OPC-1202", pairB1, "Piping OPC", 0.05, 0.40);
    EquipSpec tankSpec;
    tankSpec.prefix = "T";
    tankSpec.seq = "1202";
    tankSpec.cls = "Tank";
    tankSpec.subclass = "Atmospheric Tank";
    tankSpec.type = "Cone Roof Tank";
    tankSpec.description = "Preheated Feed Tank";
    tankSpec.material = "CS";
    tankSpec.subtable = "T_Vessel";
    tankSpec.subText = {{"DiameterInternal", "6000 mm"}, {"VolumeRating", "250 m3"}};
    tankSpec.symbol = "\\Equipment\\Tanks\\Cone Roof Tank.sym";
    const Placed tank = b.AddEquipment(d3, s12, tankSpec, 0.55, 0.35);
    const Placed tankN1 = b.AddNozzle(d3, s12, Nozzle(tank, "1", "3\""), 0.50, 0.40, 2);
    NozzleSpec tn2 = Nozzle(tank, "2", "2\"");
    tn2.usage = "Drain";
    const Placed tankN2 = b.AddNozzle(d3, s12, tn2, 0.55, 0.28, 3);
    RunSpec r19Spec = Line("001", "3\"");
    r19Spec.tag = "12001-P";
    const Run r19 = b.AddRun(d3, s12, r19Spec);
    CompSpec fourWay = Valve("Four Way Valve", "3\"", 4);
    fourWay.operatorType = "Lever";
    const Placed fwv = b.AddPipingComp(d3, s12, &r19, fourWay, 0.30, 0.40);
    b.RouteThrough(d3, r19, At(opc1202b), {fwv}, At(tankN1, 1));
    RunSpec drainSpec = Line("005", "2\"", "DR");
    drainSpec.fluidSystem = "Drains";
    drainSpec.type = "Secondary Piping";
    const Run r20 = b.AddRun(d3, s12, drainSpec);
    const Placed gv10 = b.AddPipingComp(d3, s12, &r20, Valve("Gate Valve", "2\""), 0.55, 0.20);
    EquipSpec filterSpec;
    filterSpec.prefix = "F";
    filterSpec.seq = "1202";
    filterSpec.cls = "Filter";
    filterSpec.subclass = "Cartridge Filter";
    filterSpec.type = "Single Cartridge Filter";
    filterSpec.description = "Drain Filter";
    filterSpec.subtable = "T_EquipmentOther";
    filterSpec.subText = {{"MeshSize", "25 micron"}};
    filterSpec.symbol = "\\Equipment\\Filters\\Cartridge Filter.sym";
    const Placed filter = b.AddEquipment(d3, s12, filterSpec, 0.55, 0.10);
    const Placed filterN1 = b.AddNozzle(d3, s12, Nozzle(filter, "1", "2\""), 0.55, 0.13, 1);
    const Placed filterN2 = b.AddNozzle(d3, s12, Nozzle(filter, "2", "2\""), 0.58, 0.10, 0);
    b.RouteThrough(d3, r20, At(tankN2, 1), {gv10}, At(filterN1, 1));
    RunSpec drain2Spec = Line("006", "2\"", "DR");
    drain2Spec.fluidSystem = "Drains";
    drain2Spec.type = "Secondary Piping";
    const Run r20b = b.AddRun(d3, s12, drain2Spec);
    b.Route(d3, r20b, {At(filterN2, 1), Open(0.65, 0.10)});
    b.AddNote(d3, "HOLD: TANK NOZZLE ORIENTATION TO BE CONFIRMED BY VENDOR.", "Hold", 0.70, 0.50);
    b.AddFrames(d3, 0);
    b.AddDrawingHistory(d3, 0);

    // ------------------------------------------------------------ PID-11-02 (deleted)
    const Placed oldPump = b.AddEquipment(d4, u11, Pump("1102", ""), 0.50, 0.30);
    const Placed oldN1 = b.AddNozzle(d4, u11, Nozzle(oldPump, "1", "3\""), 0.48, 0.30, 2);
    b.AddNozzle(d4, u11, Nozzle(oldPump, "2", "2\""), 0.50, 0.32, 1);
    // Debris a real plant carries, all on this sheet: a connector whose far end is the feed
    // drum on another drawing, a connector with no ends and a single vertex, and a label whose
    // labelled representation is gone.
    const Run r21 = b.AddRun(d4, u11, Line("021", "3\""));
    b.Route(d4, r21, {At(oldN1, 1), At(drum)});
    const Run r22 = b.AddRun(d4, u11, Line("022", "2\""));
    const std::string lonely = b.AddRep(d4, r22.id, "Connector", "");
    b.AddConnectorRow(lonely, Open(0.2, 0.2), Open(0.2, 0.2), false, 1);
    b.AddLabel(d4, r22.id, b.NewId(), "Line Number", 0.21, 0.21);
    b.AddRevision(d4, "A", "0", 15);
    b.AddFrames(d4, 0);
    b.AddDrawingHistory(d4, 1);

    // ------------------------------------------------------------ off the drawings
    // A ghost: a deleted vessel with model, plant and equipment rows but no representation.
    EquipSpec ghostSpec = drumSpec;
    ghostSpec.seq = "1199";
    ghostSpec.description = "Ghost Drum";
    ghostSpec.symbol.clear();
    ghostSpec.subText.clear();
    ghostSpec.itemStatus = 4;
    b.AddEquipment(d4, u11, ghostSpec, 0, 0);
    // An instrument in the plant stockpile: never drawn.
    InstrSpec stockSpec = Instrument("P", "T", "1199", "Transmitter", "Pressure Transmitter");
    stockSpec.description = "Spare transmitter in the plant stockpile";
    b.AddInstrument(nullptr, u11, stockSpec, nullptr, 0, 0);
    // A symbol row left behind by a deleted representation.
    b.AddSymbolRow(b.NewId(), 0.5, 0.5, 0);
}

}  // namespace tb::sampleplant
