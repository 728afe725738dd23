#include "sheets.h"

#include <algorithm>
#include <string>
#include <vector>

#include "rng.h"

namespace tb::sampleplant {
namespace {

std::string Pad(int v, int width) {
    std::string s = std::to_string(v);
    while (static_cast<int>(s.size()) < width) s.insert(s.begin(), '0');
    return s;
}

const std::vector<std::string> kSizes = {"1\"", "2\"", "3\"", "4\"", "6\"", "8\"", "10\""};

// The off-page connectors a sheet shares with its neighbours in the unit.
struct Chain {
    std::string inId, inPair, inTag;
    std::string outId, outPair, outTag;
    std::string lineTag;  // tag of the line arriving through the incoming connector
};

struct Vessel {
    const char* prefix;
    const char* cls;
    const char* subclass;
    const char* type;
    const char* description;
    const char* symbol;
};

const Vessel kVessels[] = {
    {"V", "Vessel", "Drum", "Horizontal Drum", "Surge Drum",
     "\\Equipment\\Vessels\\Horizontal Drum.sym"},
    {"V", "Vessel", "Separator", "Vertical Separator", "Separator",
     "\\Equipment\\Vessels\\Vertical Separator.sym"},
    {"C", "Vessel", "Column", "Tray Column", "Stripper", "\\Equipment\\Columns\\Tray Column.sym"},
    {"T", "Tank", "Atmospheric Tank", "Floating Roof Tank", "Intermediate Tank",
     "\\Equipment\\Tanks\\Floating Roof Tank.sym"},
};

CompSpec Comp(const std::string& type, const std::string& size, const std::string& spec,
              int points = 2) {
    CompSpec c;
    c.type = type;
    c.size = size;
    c.spec = spec;
    c.points = points;
    if (type == "Gate Valve" || type == "Globe Valve") c.operatorType = "Handwheel";
    if (type == "Ball Valve" || type == "Butterfly Valve") c.operatorType = "Lever";
    if (spec == "B1A") c.rating = "300#";
    return c;
}

NozzleSpec Nz(const Placed& equipment, int seq, const std::string& size,
              const std::string& usage = "Process") {
    NozzleSpec n;
    n.seq = std::to_string(seq);
    n.size = size;
    n.equipment = equipment.item;
    n.equipmentRep = equipment.rep;
    n.usage = usage;
    return n;
}

InstrSpec Instr(const std::string& mv, const std::string& modifier, const std::string& seq,
                const std::string& cls, const std::string& type) {
    InstrSpec s;
    s.mv = mv;
    s.modifier = modifier;
    s.seq = seq;
    s.cls = cls;
    s.type = type;
    return s;
}

RunSpec Impulse(const std::string& size) {
    RunSpec s;
    s.size = size;
    s.cls = "Instrument";
    s.type = "Connect to Process";
    s.spec = "T1A";
    return s;
}

void Sheet(PlantBuilder& b, const Group& unit, int global, int k, Chain& chain, Rng r,
           bool missingFile, bool noPath) {
    const std::string& code = unit.unitCode;
    const std::string sheetNo = Pad(k + 1, 2);
    const std::string eq = code + sheetNo;
    const Vessel& kind = kVessels[r.Below(4)];
    const bool exchanger = r.Chance(30);
    const bool strainer = !exchanger && r.Chance(25);
    const bool spare = r.Chance(60);
    const bool flow = r.Chance(70);

    DrawingSpec ds;
    ds.name = "PID-" + code + "-" + sheetNo;
    ds.number = "TB-" + code + "-PID-" + Pad(k + 1, 3);
    ds.title = std::string(kind.description) + " " + kind.prefix + "-" + eq + " and Pumps";
    ds.description = "Unit " + code + ", sheet " + std::to_string(k + 1);
    ds.fileName = noPath ? "" : ds.name + ".pid";
    ds.group = &unit;
    ds.day = 60 + 2 * global;
    ds.satelliteSite = global % 7 == 3;
    ds.writeFile = !missingFile;
    ds.responsibility = global % 2 ? "Process" : "Utilities";
    Drawing d = b.AddDrawing(ds);

    const std::string fluid = r.Pick(std::vector<std::string>{"P", "PL", "PG"});
    const std::string spec = r.Pick(std::vector<std::string>{"A1A", "A3A", "B1A", "S1A"});
    const auto sizeAt = [&](int lo, int hi) {
        return kSizes[static_cast<std::size_t>(r.Between(lo, hi))];
    };
    const std::string sizeIn = sizeAt(2, 4);
    const std::string sizeOut = sizeAt(3, 5);
    const std::string suction = sizeAt(2, 4);
    const std::string discharge = sizeAt(2, 3);
    auto line = [&](int i, const std::string& size) {
        RunSpec s;
        s.seq = Pad((k + 1) * 10 + i, 3);
        s.size = size;
        s.fluid = fluid;
        s.spec = spec;
        if (global % 9 == 4) {
            s.insulation = "Heat Conservation";
            s.insulThick = "40 mm";
        }
        return s;
    };

    // The vessel with its nozzles.
    EquipSpec vs;
    vs.prefix = kind.prefix;
    vs.seq = eq;
    vs.cls = kind.cls;
    vs.subclass = kind.subclass;
    vs.type = kind.type;
    vs.description = kind.description;
    vs.material = spec == "S1A" ? "SS316" : "CS";
    vs.subtable = "T_Vessel";
    vs.subText = {{"DiameterInternal", std::to_string(1200 + 200 * r.Between(0, 10)) + " mm"}};
    vs.symbol = kind.symbol;
    const Placed vessel = b.AddEquipment(d, unit, vs, 0.30, 0.35);
    const Placed vN1 = b.AddNozzle(d, unit, Nz(vessel, 1, sizeIn), 0.22, 0.40, 2);
    const Placed vN2 = b.AddNozzle(d, unit, Nz(vessel, 2, sizeOut), 0.34, 0.30, 3);
    const Placed vN3 = b.AddNozzle(d, unit, Nz(vessel, 3, "1\"", "Vent"), 0.30, 0.42, 1);
    NozzleSpec n4 = Nz(vessel, 4, "2\"");
    n4.type = "Instrument Nozzle";
    n4.linkEquipmentId = r.Chance(80);
    const Placed vN4 = b.AddNozzle(d, unit, n4, 0.36, 0.32, 0);
    const bool relief = r.Chance(50);
    const bool drain = r.Chance(50);

    // Incoming line through a gate valve.
    const Placed opcIn =
        b.AddOPC(d, unit, chain.inId, chain.inTag, chain.inPair, "Piping OPC", 0.05, 0.40);
    RunSpec aSpec = line(1, sizeIn);
    if (!chain.lineTag.empty()) aSpec.tag = chain.lineTag;
    const Run a = b.AddRun(d, unit, aSpec);
    const Placed gvA = b.AddPipingComp(d, unit, &a, Comp("Gate Valve", sizeIn, spec), 0.14, 0.40);
    const auto aConn = b.RouteThrough(d, a, At(opcIn), {gvA}, At(vN1, 1));
    b.AddLabel(d, a.id, aConn[0], "Line Number", 0.09, 0.41);
    if (global % 6 == 5) {
        // Steam tracing drawn along the incoming line: run class 2.
        RunSpec trace;
        trace.size = "1/2\"";
        trace.fluid = "MS";
        trace.fluidSystem = "Steam";
        trace.cls = "Heat Tracing";
        trace.type = "Heat Trace";
        trace.spec = "T1A";
        trace.trace = "Steam";
        const Run t = b.AddRun(d, unit, trace);
        b.Route(d, t, {Open(0.06, 0.38), Open(0.20, 0.38)});
    }

    // Pumps.
    EquipSpec ps;
    ps.prefix = "P";
    ps.seq = eq;
    ps.suffix = spare ? "A" : "";
    ps.cls = "Pump";
    ps.subclass = "Centrifugal Pump";
    ps.type = r.Chance(70) ? "Overhung Pump" : "Between Bearings Pump";
    ps.description = std::string(kind.description) + " Pump";
    ps.material = vs.material;
    ps.subtable = "T_Mechanical";
    ps.subText = {{"RatedPower", std::to_string(5 + 5 * r.Between(0, 8)) + " kW"}};
    ps.driver = "Electric Motor";
    ps.symbol = "\\Equipment\\Pumps\\Centrifugal Pump.sym";
    const Placed pA = b.AddEquipment(d, unit, ps, 0.55, 0.20);
    const Placed pAN1 = b.AddNozzle(d, unit, Nz(pA, 1, suction), 0.53, 0.20, 2);
    const Placed pAN2 = b.AddNozzle(d, unit, Nz(pA, 2, discharge), 0.55, 0.22, 1);
    Placed pB;
    Placed pBN1;
    Placed pBN2;
    if (spare) {
        ps.suffix = "B";
        pB = b.AddEquipment(d, unit, ps, 0.55, 0.08);
        pBN1 = b.AddNozzle(d, unit, Nz(pB, 1, suction), 0.53, 0.08, 2);
        pBN2 = b.AddNozzle(d, unit, Nz(pB, 2, discharge), 0.55, 0.10, 1);
        b.AddItemGroup(d, unit, "Package", "PKG-" + eq, ps.description + " Package",
                       {pA.item, pB.item});
    }

    // Suction: from the vessel, reduced when the sizes differ (two runs of one tag).
    std::vector<std::string> tested;
    Run b1 = b.AddRun(d, unit, line(2, sizeOut));
    tested.push_back(b1.id);
    Stop suctionStart = At(vN2, 1);
    Run suctionRun = b1;
    if (sizeOut != suction) {
        CompSpec red = Comp("Concentric Reducer", sizeOut, spec);
        red.size2 = suction;
        const Placed reducer = b.AddPipingComp(d, unit, &b1, red, 0.40, 0.24);
        const auto c = b.RouteThrough(d, b1, At(vN2, 1), {}, At(reducer, 1));
        b.AddLabel(d, b1.id, c[0], "Line Number", 0.37, 0.26);
        if (global % 3 == 0) {
            b.AddInconsistency(d, c[0], reducer.rep, "Nominal diameter mismatch", global % 2 == 0);
        }
        suctionRun = b.AddRun(d, unit, line(2, suction));
        tested.push_back(suctionRun.id);
        suctionStart = At(reducer, 2);
    }
    std::vector<Placed> suctionItems;
    Placed bpSuction;
    if (spare) {
        bpSuction = b.AddBranchPoint(d, suctionRun, 0.45, 0.20);
        suctionItems.push_back(bpSuction);
    }
    suctionItems.push_back(
        b.AddPipingComp(d, unit, &suctionRun, Comp("Gate Valve", suction, spec), 0.49, 0.20));
    if (r.Chance(30)) {
        suctionItems.push_back(
            b.AddPipingComp(d, unit, &suctionRun, Comp("Y-Strainer", suction, spec), 0.51, 0.20));
    }
    const auto sConn = b.RouteThrough(d, suctionRun, suctionStart, suctionItems, At(pAN1, 1));
    b.AddLabel(d, suctionRun.id, sConn[0], "Line Number", 0.44, 0.21);
    if (spare) {
        const Run bs = b.AddRun(d, unit, line(3, suction));
        const Placed gv =
            b.AddPipingComp(d, unit, &bs, Comp("Gate Valve", suction, spec), 0.49, 0.08);
        b.RouteThrough(d, bs, At(bpSuction), {gv}, At(pBN1, 1));
    }

    // Discharge through check and gate valves, flow measurement and control.
    const Run c = b.AddRun(d, unit, line(4, discharge));
    tested.push_back(c.id);
    std::vector<Placed> cItems = {
        b.AddPipingComp(d, unit, &c, Comp("Check Valve", discharge, spec), 0.58, 0.28),
        b.AddPipingComp(d, unit, &c, Comp("Gate Valve", discharge, spec), 0.60, 0.30)};
    Placed bpJoin;
    if (spare) {
        bpJoin = b.AddBranchPoint(d, c, 0.62, 0.30);
        cItems.push_back(bpJoin);
    }
    const bool temperature = r.Chance(40);
    Placed bpTemp;
    if (temperature) {
        bpTemp = b.AddBranchPoint(d, c, 0.64, 0.30);
        cItems.push_back(bpTemp);
    }
    const std::string loopSeq = code + Pad(k * 5 + 1, 2);
    Placed fe;
    Placed fv;
    if (flow) {
        InstrSpec feSpec = Instr("F", "E", loopSeq, "Primary Element", "Orifice Plate");
        feSpec.isInline = true;
        feSpec.points = 3;
        fe = b.AddInstrument(&d, unit, feSpec, &c, 0.67, 0.30);
        InstrSpec fvSpec = Instr("F", "V", loopSeq, "Control Valve",
                                 r.Chance(70) ? "Globe Control Valve" : "Butterfly Control Valve");
        fvSpec.isInline = true;
        fvSpec.size = discharge;
        fvSpec.failModes = {{r.Chance(60) ? "Fail Closed" : "Fail Open", "High"}};
        if (r.Chance(30)) fvSpec.failModes.push_back({"Fail Last Position", "Low"});
        fv = b.AddInstrument(&d, unit, fvSpec, &c, 0.72, 0.30);
        cItems.push_back(fe);
        cItems.push_back(fv);
    }
    const Placed opcOut =
        b.AddOPC(d, unit, chain.outId, chain.outTag, chain.outPair, "Piping OPC", 0.82, 0.30);
    std::string outTag = c.tag;
    if (exchanger) {
        EquipSpec es;
        es.prefix = "E";
        es.seq = eq;
        es.cls = "Heat Exchanger";
        es.subclass = r.Chance(50) ? "Shell and Tube Exchanger" : "Plate Exchanger";
        es.type = es.subclass == "Plate Exchanger" ? "Gasketed Plate" : "TEMA BEM";
        es.description = "Product Cooler";
        es.material = vs.material;
        es.subtable = "T_Exchanger";
        es.subText = {{"HeatDuty", std::to_string(100 * r.Between(1, 20)) + " kW"}};
        es.symbol = "\\Equipment\\Exchangers\\" + es.subclass + ".sym";
        const Placed ex = b.AddEquipment(d, unit, es, 0.74, 0.42);
        const Placed eN1 = b.AddNozzle(d, unit, Nz(ex, 1, discharge), 0.70, 0.42, 2);
        const Placed eN2 = b.AddNozzle(d, unit, Nz(ex, 2, discharge), 0.78, 0.42, 0);
        const auto cc = b.RouteThrough(d, c, At(pAN2, 1), cItems, At(eN1, 1));
        b.AddLabel(d, c.id, cc[0], "Line Number", 0.57, 0.27);
        b.AddLabel(d, c.id, cc.back(), "Flow Arrow", 0.69, 0.40);
        const Run dOut = b.AddRun(d, unit, line(5, discharge));
        tested.push_back(dOut.id);
        const auto dc = b.RouteThrough(d, dOut, At(eN2, 1), {}, At(opcOut));
        b.AddLabel(d, dOut.id, dc[0], "Line Number", 0.80, 0.36);
        outTag = dOut.tag;
        b.AddProcessCase(ex.item, "ProcessDesign", {{"Max", 16.0, 150.0, 0}});
        if (es.subclass == "Shell and Tube Exchanger") {
            b.AddProcessCase(ex.item, "ProcessDesignTube", {{"Max", 10.0, 60.0, 0}});
        }
    } else if (strainer) {
        EquipSpec fs;
        fs.prefix = "F";
        fs.seq = eq;
        fs.cls = "Filter";
        fs.subclass = "Basket Strainer";
        fs.type = "Duplex Basket Strainer";
        fs.description = "Discharge Strainer";
        fs.subtable = "T_EquipmentOther";
        fs.subText = {{"MeshSize", "40 mesh"}};
        fs.symbol = "\\Equipment\\Filters\\Duplex Basket Strainer.sym";
        const Placed f = b.AddEquipment(d, unit, fs, 0.77, 0.38);
        const Placed fN1 = b.AddNozzle(d, unit, Nz(f, 1, discharge), 0.76, 0.36, 2);
        const Placed fN2 = b.AddNozzle(d, unit, Nz(f, 2, discharge), 0.78, 0.36, 0);
        const auto cc = b.RouteThrough(d, c, At(pAN2, 1), cItems, At(fN1, 1));
        b.AddLabel(d, c.id, cc[0], "Line Number", 0.57, 0.27);
        const Run dOut = b.AddRun(d, unit, line(5, discharge));
        tested.push_back(dOut.id);
        b.RouteThrough(d, dOut, At(fN2, 1), {}, At(opcOut));
        outTag = dOut.tag;
    } else {
        const auto cc = b.RouteThrough(d, c, At(pAN2, 1), cItems, At(opcOut));
        b.AddLabel(d, c.id, cc[0], "Line Number", 0.57, 0.27);
        b.AddLabel(d, c.id, cc.back(), "Flow Arrow", 0.79, 0.29);
    }
    if (spare) {
        const Run cs = b.AddRun(d, unit, line(6, discharge));
        const Placed cv =
            b.AddPipingComp(d, unit, &cs, Comp("Check Valve", discharge, spec), 0.58, 0.12);
        const Placed gv =
            b.AddPipingComp(d, unit, &cs, Comp("Gate Valve", discharge, spec), 0.60, 0.14);
        b.RouteThrough(d, cs, At(pBN2, 1), {cv, gv}, At(bpJoin));
    }

    // Vent of type Secondary Piping, with a pressure gauge on the valve's tapping now and then.
    RunSpec ventSpec = line(7, "1\"");
    ventSpec.type = "Secondary Piping";
    ventSpec.insulation.clear();
    const Run vent = b.AddRun(d, unit, ventSpec);
    const bool gauge = r.Chance(50);
    const Placed gvV =
        b.AddPipingComp(d, unit, &vent, Comp("Gate Valve", "1\"", spec, gauge ? 3 : 2), 0.30, 0.48);
    b.RouteThrough(d, vent, At(vN3, 1), {gvV}, Open(0.30, 0.53));
    if (gauge) {
        InstrSpec pi =
            Instr("P", "I", code + Pad(k * 5 + 2, 2), "Local Indicator", "Pressure Gauge");
        pi.functions = {"Indicate"};
        const Placed g = b.AddInstrument(&d, unit, pi, nullptr, 0.36, 0.52);
        b.Route(d, b.AddRun(d, unit, Impulse("1/2\"")), {At(gvV, 3), At(g)});
    }
    if (drain) {
        NozzleSpec dn = Nz(vessel, 6, "2\"", "Drain");
        const Placed vN6 = b.AddNozzle(d, unit, dn, 0.28, 0.28, 3);
        RunSpec drainSpec = line(8, "2\"");
        drainSpec.fluid = "DR";
        drainSpec.fluidSystem = "Drains";
        drainSpec.type = "Secondary Piping";
        drainSpec.insulation.clear();
        const Run dr = b.AddRun(d, unit, drainSpec);
        const Placed gv =
            b.AddPipingComp(d, unit, &dr, Comp("Ball Valve", "2\"", spec), 0.28, 0.22);
        b.RouteThrough(d, dr, At(vN6, 1), {gv}, Open(0.28, 0.15));
    }
    if (relief) {
        const std::string psvSize = r.Chance(50) ? "2\"" : "3\"";
        const Placed vN5 = b.AddNozzle(d, unit, Nz(vessel, 5, psvSize), 0.26, 0.42, 1);
        RunSpec stub = line(9, psvSize);
        stub.zeroLength = true;
        stub.insulation.clear();
        const Run st = b.AddRun(d, unit, stub);
        InstrSpec psv =
            Instr("P", "SV", code + Pad(k * 5 + 3, 2), "Relief Device", "Pressure Safety Valve");
        psv.isInline = true;
        psv.size = psvSize;
        const Placed valve = b.AddInstrument(&d, unit, psv, &st, 0.26, 0.45);
        const auto stubConn = b.Route(d, st, {At(vN5, 1), At(valve, 1)}, true);
        if (global % 5 == 0) {
            // Labels on a zero-length stub: its count stays.
            b.AddLabel(d, st.id, stubConn[0], "Line Number", 0.25, 0.44);
            b.AddLabel(d, st.id, stubConn[0], "Size", 0.27, 0.44);
        }
        RunSpec flare = line(0, "4\"");
        flare.fluid = "FL";
        flare.fluidSystem = "Flare";
        flare.insulation.clear();
        const Run fl = b.AddRun(d, unit, flare);
        const Placed hdr = b.AddOPC(d, unit, b.NewId(), "FL-HDR", "", "Utility OPC", 0.26, 0.56);
        b.Route(d, fl, {At(valve, 2), At(hdr)});
    }

    // Level loop on the instrument nozzle; flow loop around the control valve.
    InstrSpec lt = Instr("L", "T", code + Pad(k * 5 + 4, 2), "Transmitter", "Level Transmitter");
    const Placed ltP = b.AddInstrument(&d, unit, lt, nullptr, 0.40, 0.36);
    b.Route(d, b.AddRun(d, unit, Impulse("2\"")), {At(vN4, 1), At(ltP)});
    InstrSpec lic = Instr("L", "IC", lt.seq, "Controller", "DCS Controller");
    lic.functions = {"Indicate", "Control", "Alarm High", "Alarm Low"};
    const Placed licP = b.AddInstrument(&d, unit, lic, nullptr, 0.44, 0.50);
    b.AddSignal(d, unit, At(ltP), At(licP));
    b.AddLoop(d, unit, "L", lt.seq, {ltP.item, licP.item},
              std::string(kind.description) + " level");
    if (flow) {
        InstrSpec ft = Instr("F", "T", loopSeq, "Transmitter", "Flow Transmitter");
        const Placed ftP = b.AddInstrument(&d, unit, ft, nullptr, 0.67, 0.40);
        b.Route(d, b.AddRun(d, unit, Impulse("1/2\"")), {At(fe, 3), At(ftP)});
        InstrSpec fic = Instr("F", "IC", loopSeq, "Controller", "DCS Controller");
        fic.functions = {"Indicate", "Control"};
        const Placed ficP = b.AddInstrument(&d, unit, fic, nullptr, 0.72, 0.48);
        b.AddSignal(d, unit, At(ftP), At(ficP));
        b.AddSignal(d, unit, At(ficP), At(fv), "Pneumatic");
        b.AddLoop(d, unit, "F", loopSeq, {fe.item, ftP.item, ficP.item, fv.item}, "Discharge flow");
        b.AddControlCase(fv.item, {{"Max", 12.0 + r.Between(0, 8), 0, 1000.0 * r.Between(10, 90)}});
        if (r.Chance(25))
            b.AddItemGroup(d, unit, "SafetyClass", "SIS-" + eq, "Overfill protection",
                           {fv.item, ltP.item});
    }
    if (temperature) {
        InstrSpec te = Instr("T", "E", code + Pad(k * 5 + 5, 2), "Primary Element", "Thermowell");
        const Placed teP = b.AddInstrument(&d, unit, te, nullptr, 0.64, 0.36);
        b.Route(d, b.AddRun(d, unit, Impulse("1\"")), {At(bpTemp), At(teP)});
        InstrSpec ti = Instr("T", "I", te.seq, "Local Indicator", "Temperature Gauge");
        ti.functions = {"Indicate"};
        const Placed tiP = b.AddInstrument(&d, unit, ti, nullptr, 0.64, 0.42);
        Stop end = At(tiP);
        end.avoid = teP.rep;
        b.Route(d, b.AddRun(d, unit, Impulse("1/2\"")), {Open(0.64, 0.39), end});
        b.AddLoop(d, unit, "T", te.seq, {teP.item, tiP.item}, "Discharge temperature");
    }

    if (global % 25 == 12) {
        const Placed duct = b.AddDuctRun(d, unit, "D-" + eq, "Supply Air", "500x300");
        const Placed damper = b.AddDuctingComp(d, unit, duct.item, "Volume Damper", 0.20, 0.08);
        b.RouteThrough(d, Run{duct.item, "D-" + eq, {}}, Open(0.10, 0.08), {damper},
                       Open(0.30, 0.08));
    }
    if (r.Chance(70)) {
        b.AddNote(d,
                  "NOTE: " + std::string(kind.description) + " " + vs.prefix + "-" + eq +
                      " TO BE ISOLATED BEFORE MAINTENANCE.",
                  "General Note", 0.70, 0.55);
    }
    b.AddLabel(d, vessel.item, vessel.rep, "Item Tag", 0.30, 0.30);
    if (r.Chance(40)) b.AddItemGroup(d, unit, "System", "HT-" + eq, "Hydrotest " + eq, tested);

    const double designP = 6.0 + r.Between(0, 20);
    b.AddProcessCase(vessel.item, "ProcessDesign",
                     {{"Max", designP, 90.0 + 10 * r.Between(0, 10), 0}});
    b.AddProcessCase(a.id, "ProcessDesign", {{"Max", designP, 90.0, 0}});
    b.AddProcessCase(a.id, "ProcessOperating",
                     {{"Norm", designP * 0.6, 45.0, 1000.0 * r.Between(5, 60)}});
    b.AddProcessCase(c.id, "ProcessDesign", {{"Max", designP + 6.0, 90.0, 0}});
    b.AddProcessCase(c.id, "ProcessOperating",
                     {{"Norm", designP, 45.0, 1000.0 * r.Between(5, 60)}});
    b.AddProcessCase(pA.item, "ProcessDesign", {{"Max", designP + 6.0, 90.0, 0}});

    // Revisions, stored versions, frames and the drawing's own history.
    static const char* const kMajors[] = {"A", "B", "C", "0", "1"};
    int revisions = static_cast<int>(r.Below(5));
    if (missingFile) revisions = std::max(revisions, 2);  // its second revision has no date
    for (int i = 0; i < revisions; ++i) {
        const std::string minor = r.Chance(10) ? "" : std::to_string(r.Below(3));
        b.AddRevision(d, kMajors[i], minor, d.day + 20 + 30 * i, missingFile && i == 1);
    }
    if (revisions > 0)
        b.AddAreaBreak(vessel.item, "Revision.RevisionNumber", kMajors[revisions - 1]);
    const int versions = static_cast<int>(r.Below(3));
    for (int i = 0; i < versions; ++i) {
        b.AddVersion(d, i + 1, d.day + 25 + 30 * revisions + i, revisions > 0 && r.Chance(50));
    }
    b.AddFrames(d, static_cast<int>(r.Below(3)));
    b.AddDrawingHistory(d, static_cast<int>(r.Below(4)));
    chain.lineTag = outTag;
}

}  // namespace

void AddProcessSheets(PlantBuilder& b, const Group& root, int count, std::uint64_t seed,
                      int firstArea, bool markDebris) {
    const Rng base(seed);
    int global = 0;
    for (int areaNo = firstArea; global < count; ++areaNo) {
        const std::string areaCode = std::to_string(areaNo * 10);
        const Group area =
            b.AddGroup(root, "Area" + areaCode, "Area", "Process area " + areaCode, areaCode);
        for (int u = 1; u <= 5 && global < count; ++u) {
            const std::string code = std::to_string(areaNo * 10 + u);
            const Group unit =
                b.AddGroup(area, "Unit" + code, "Unit", "Process unit " + code, code);
            const int sheets = std::min(10, count - global);
            // Connector ids are drawn up front: each sheet names its mate on the next one.
            std::vector<std::string> ins;
            std::vector<std::string> outs;
            for (int k = 0; k < sheets; ++k) {
                ins.push_back(b.NewId());
                outs.push_back(b.NewId());
            }
            Chain chain;
            for (int k = 0; k < sheets; ++k) {
                chain.inId = ins[static_cast<std::size_t>(k)];
                chain.inPair = k > 0 ? outs[static_cast<std::size_t>(k - 1)] : "";
                chain.inTag = k > 0 ? "OPC-" + code + Pad(k, 2) : "BL-" + code;
                chain.outId = outs[static_cast<std::size_t>(k)];
                chain.outPair = k + 1 < sheets ? ins[static_cast<std::size_t>(k + 1)] : "";
                chain.outTag = k + 1 < sheets ? "OPC-" + code + Pad(k + 1, 2) : "TO-" + code;
                Sheet(b, unit, global, k, chain, base.Fork(static_cast<std::uint64_t>(global)),
                      markDebris && global == 0, markDebris && global == 1);
                ++global;
            }
        }
    }
}

}  // namespace tb::sampleplant
