// The generator itself: same arguments give the same bytes, the output folder is handled
// safely, the program's arguments, and the pieces that must not vary between machines (the
// random mapping, dates, stored ZIP data) or let bad values through (the row writer).

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <functional>
#include <map>

#include "common/error.h"
#include "file_writer.h"
#include "plant_builder.h"
#include "plant_checks.h"
#include "rng.h"
#include "support/test_support.h"
#include "zip_storage.h"

namespace tb::sampleplant::test {
namespace {

using tb::test::ReadFile;
using tb::test::RunProcess;
using tb::test::TempDir;
using tb::test::WriteFile;

std::map<std::string, std::string> Snapshot(const fs::path& dir) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(dir)) {
        if (entry.is_regular_file()) {
            files[fs::relative(entry.path(), dir).string()] = ReadFile(entry.path());
        }
    }
    return files;
}

Result Generate(const fs::path& dir, int drawings, std::uint64_t seed = 1) {
    Options options;
    options.out = dir;
    options.drawings = drawings;
    options.seed = seed;
    return GeneratePlant(options);
}

TEST(Generator, SameArgumentsGiveIdenticalFiles) {
    for (int drawings : {kShowcaseDrawings, kDefaultDrawings}) {
        TempDir dir;
        Generate(dir.path(), drawings);
        const auto first = Snapshot(dir.path());
        Generate(dir.path(), drawings);  // over the earlier plant
        const auto second = Snapshot(dir.path());
        ASSERT_EQ(first.size(), second.size()) << drawings;
        for (const auto& [name, bytes] : first) {
            ASSERT_TRUE(second.count(name)) << name;
            EXPECT_TRUE(second.at(name) == bytes)
                << name << " differs for " << drawings << " drawings";
        }
        EXPECT_FALSE(first.count("PLANTAPID.db.tmp"));
    }
}

TEST(Generator, AnotherSeedGivesAnotherPlantOfTheSameShowcase) {
    TempDir a;
    TempDir b;
    const Result one = Generate(a.path(), kShowcaseDrawings, 1);
    const Result two = Generate(b.path(), kShowcaseDrawings, 2);
    EXPECT_EQ(CountRows(a / "PLANTAPID.db").at("T_PipeRun"),
              CountRows(b / "PLANTAPID.db").at("T_PipeRun"));
    EXPECT_NE(ReadFile(a / "PLANTAPID.db"), ReadFile(b / "PLANTAPID.db"));
}

TEST(Generator, RefusesAFolderThatHoldsSomethingElse) {
    TempDir dir;
    WriteFile(dir / "notes.txt", "mine");
    try {
        Generate(dir.path(), kShowcaseDrawings);
        FAIL() << "a foreign folder was written";
    } catch (const Error& e) {
        EXPECT_THAT(e.description(),
                    ::testing::HasSubstr("is not empty and holds no sample plant"));
    }
    EXPECT_EQ(ReadFile(dir / "notes.txt"), "mine");
    EXPECT_FALSE(fs::exists(dir / "PLANTAPID.db"));
}

TEST(Generator, ReplacesAnEarlierPlantAndKeepsOtherFiles) {
    TempDir dir;
    Generate(dir.path(), kDefaultDrawings);
    WriteFile(dir / "extract.mdb", "keep");
    Generate(dir.path(), kShowcaseDrawings);
    EXPECT_EQ(ReadFile(dir / "extract.mdb"), "keep");
    // No drawing file of the larger plant is left behind.
    EXPECT_FALSE(fs::exists(dir / "PlantA/Area20"));
    Db db(dir / "PLANTAPID.db", true);
    EXPECT_EQ(Scalar(db, "SELECT count(*) FROM T_Drawing"), kShowcaseDrawings);
}

TEST(Generator, DrawingCountsOutsideTheRangeAreRefused) {
    TempDir dir;
    for (int drawings : {0, kShowcaseDrawings - 1, kMaxDrawings + 1}) {
        EXPECT_THROW(Generate(dir.path(), drawings), Error) << drawings;
    }
    EXPECT_TRUE(fs::is_empty(dir.path()));
}

TEST(Generator, PresetsAddGeneratedSheetsToTheShowcase) {
    TempDir dir;
    Generate(dir.path(), 7);
    Db db(dir / "PLANTAPID.db", true);
    EXPECT_EQ(Scalar(db, "SELECT count(*) FROM T_Drawing"), 7);
    EXPECT_EQ(Scalar(db, "SELECT count(*) FROM T_Drawing WHERE Name LIKE 'PID-21-%'"), 3);
}

struct CommandCase {
    std::vector<std::string> args;
    int exitCode;
    const char* output;
};

TEST(Program, ArgumentsAndExitCodes) {
    TempDir dir;
    const fs::path program = tb::test::BuildDir() / "tarnbrook-sampleplant";
    const std::string out = (dir / "plant").string();
    const CommandCase cases[] = {
        {{"--out", out, "--preset", "tiny"}, 0, "PLANTAPID.db"},
        {{"--out", out, "--preset", "tiny", "--markdown"}, 0, "| PLANTAPID.db | T_Drawing | 4 |"},
        {{"--out", out, "--preset", "huge"}, 1, "Unknown preset 'huge'"},
        {{"--out", out, "--drawings", "3"}, 1, "must lie between 4 and 10000, not 3"},
        {{"--out", out, "--drawings", "many"}, 1, "Unknown or incomplete argument '--drawings'"},
        {{"--preset", "tiny"}, 1, "Usage: tarnbrook-sampleplant --out DIR"},
        {{"--help"}, 0, "--preset tiny"},
    };
    for (const auto& c : cases) {
        const auto run = RunProcess(program, c.args, {});
        EXPECT_EQ(run.exitCode, c.exitCode) << ::testing::PrintToString(c.args) << run.output;
        EXPECT_THAT(run.output, ::testing::HasSubstr(c.output)) << ::testing::PrintToString(c.args);
    }
}

TEST(Rng, MappingIsTheSameEverywhere) {
    // SplitMix64 from seed 1; a standard library's distributions would differ between
    // implementations, these values may not.
    Rng rng(1);
    EXPECT_EQ(rng.Next(), 0x910A2DEC89025CC1ULL);
    EXPECT_EQ(rng.Next(), 0xBEEB8DA1658EEC67ULL);
    Rng a(7);
    Rng b(7);
    for (int i = 0; i < 1000; ++i) {
        const int v = a.Between(-3, 3);
        EXPECT_GE(v, -3);
        EXPECT_LE(v, 3);
        EXPECT_EQ(v, b.Between(-3, 3));
    }
    // Forks are independent of what the parent drew since.
    Rng parent(9);
    const Rng early = parent.Fork(4);
    Rng late = parent.Fork(4);
    parent.Next();
    Rng again = Rng(9).Fork(4);
    EXPECT_EQ(late.Next(), again.Next());
    (void)early;
    const std::string id = HexId(rng);
    EXPECT_EQ(id.size(), 32u);
    EXPECT_EQ(id.find_first_not_of("0123456789ABCDEF"), std::string::npos);
}

TEST(Dates, TimestampsAndDosStamps) {
    EXPECT_EQ(Timestamp(0, 0), "2021-01-04 00:00:00");
    EXPECT_EQ(Timestamp(57, 13 * 3600 + 62), "2021-03-02 13:01:02");  // past February
    EXPECT_EQ(Timestamp(362, 86399), "2022-01-01 23:59:59");
    EXPECT_EQ(Timestamp(1, 86400), "2021-01-06 00:00:00");
    const auto [date, time] = DosDateTime(0, 8 * 3600 + 30 * 60 + 10);
    EXPECT_EQ(date, ((2021 - 1980) << 9) | (1 << 5) | 4);
    EXPECT_EQ(time, (8 << 11) | (30 << 5) | 5);
    EXPECT_EQ(Fixed(12.25, 1), "12.2");
    EXPECT_EQ(Fixed(-1.0, 1), "-1.0");
}

TEST(ZipStorage, FirstEntryInflatesToTheDrawingXml) {
    const std::string xml = "<Drawing Name=\"PID &amp; 1\"/>\r\n" + std::string(500, 'x');
    const auto zip = MakeZip({{"Drawing.xml", xml}, {"Other.txt", "b"}}, 0x5284, 0x4000);
    ASSERT_GT(zip.size(), 30u);
    auto u16 = [&](std::size_t at) { return zip[at] | (zip[at + 1] << 8); };
    auto u32 = [&](std::size_t at) {
        return static_cast<std::uint32_t>(u16(at)) |
               (static_cast<std::uint32_t>(u16(at + 2)) << 16);
    };
    EXPECT_EQ(u32(0), 0x04034B50u);
    EXPECT_EQ(u16(8), 8);  // deflated
    const std::size_t nameLen = u16(26);
    EXPECT_EQ(std::string(zip.begin() + 30, zip.begin() + 30 + static_cast<long>(nameLen)),
              "Drawing.xml");
    const std::uint32_t packed = u32(18);
    std::string out(u32(22), '\0');
    z_stream zs{};
    ASSERT_EQ(inflateInit2(&zs, -15), Z_OK);
    zs.next_in = const_cast<Bytef*>(zip.data() + 30 + nameLen);
    zs.avail_in = packed;
    zs.next_out = reinterpret_cast<Bytef*>(out.data());
    zs.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(inflate(&zs, Z_FINISH), Z_STREAM_END);
    inflateEnd(&zs);
    EXPECT_EQ(out, xml);
    EXPECT_EQ(u32(14),
              crc32(0L, reinterpret_cast<const Bytef*>(xml.data()), static_cast<uInt>(xml.size())));
    // The archive ends with the end-of-central-directory record naming two entries.
    EXPECT_EQ(u32(zip.size() - 22), 0x06054B50u);
    EXPECT_EQ(u16(zip.size() - 12), 2);
    EXPECT_EQ(XmlEscape("a<b>&\"'"), "a&lt;b&gt;&amp;&quot;&apos;");
}

// The row writer refuses what a real plant never holds.
TEST(FileWriter, RejectsValuesAPlantCannotHold) {
    TempDir dir;
    TableDef table{"T_Thing",
                   {{"SP_ID", Ty::Id, 32, {}},
                    {"Name", Ty::Text, 5, {}},
                    {"ItemStatus", Ty::Code, 0, "ItemStatus"},
                    {"At", Ty::Date, 0, {}}},
                   ""};
    FileWriter writer(dir / "t.db", {table});
    const std::string good = "0123456789ABCDEF0123456789ABCDEF";
    struct Bad {
        const char* what;
        std::function<void()> write;
    };
    const Bad bad[] = {
        {"lower-case id",
         [&] { writer.Row("T_Thing")("SP_ID", "0123456789abcdef0123456789abcdef").Add(); }},
        {"short id", [&] { writer.Row("T_Thing")("SP_ID", "ABC").Add(); }},
        {"text too long", [&] { writer.Row("T_Thing")("SP_ID", good)("Name", "abcdef").Add(); }},
        {"code outside its list",
         [&] { writer.Row("T_Thing")("SP_ID", good)("ItemStatus", 9).Add(); }},
        {"malformed date", [&] { writer.Row("T_Thing")("SP_ID", good)("At", "2021-01-04").Add(); }},
        {"unknown column", [&] { writer.Row("T_Thing")("Colour", "red").Add(); }},
        {"number into text", [&] { writer.Row("T_Thing")("Name", 3).Add(); }},
        {"unknown table", [&] { writer.Row("T_Other").Add(); }},
    };
    for (const auto& b : bad) EXPECT_THROW(b.write(), Error) << b.what;
    // Five characters of two bytes each fit a width of 5; '' is stored as Null.
    writer
        .Row("T_Thing")("SP_ID", good)("Name", "\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4")(
            "ItemStatus", 4)("At", "2021-01-04 10:00:00")
        .Add();
    writer.Row("T_Thing")("SP_ID", "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF")("Name", "").Add();
    writer.Finish();
    Db db(dir / "t.db", true);
    EXPECT_EQ(Scalar(db, "SELECT count(*) FROM T_Thing"), 2);
    EXPECT_EQ(Scalar(db, "SELECT count(*) FROM T_Thing WHERE Name IS NULL"), 1);
    EXPECT_FALSE(fs::exists(dir / "t.db.tmp"));
}

TEST(FileWriter, AFailedFileLeavesNothingBehind) {
    TempDir dir;
    {
        FileWriter writer(dir / "t.db", {TableDef{"T_Thing", {{"SP_ID", Ty::Id, 32, {}}}, ""}});
        writer.Row("T_Thing")("SP_ID", "0123456789ABCDEF0123456789ABCDEF").Add();
    }
    EXPECT_TRUE(fs::is_empty(dir.path()));
}

TEST(Schema, DisplayNamesAndCodeLookups) {
    const std::pair<const char*, const char*> names[] = {
        {"NominalDiameter", "Nominal Diameter"},
        {"OPCTag", "OPC Tag"},
        {"SP_PressureSI", "Pressure SI"},
        {"Dir_Path", "Dir Path"},
        {"ItemTag", "Item Tag"},
        {"TestSystem", "Test System"},
    };
    for (const auto& [column, display] : names) EXPECT_EQ(DisplayName(column), display) << column;
    EXPECT_EQ(CodeOf("NominalDiameter", "2\""), 5064);
    EXPECT_EQ(CodeOf("CaseType", "Control"), 5);
    EXPECT_EQ(ListByKey("CaseType").number, 34);
    EXPECT_EQ(ListByKey("Quality").number, 41);
    EXPECT_THROW(CodeOf("NominalDiameter", "2 inch"), Error);
    EXPECT_THROW(ListByKey("Colour"), Error);
    // Dependent entries point at entries of their parent list.
    for (const auto& list : CodeLists()) {
        if (list.dependsOn.empty()) continue;
        const CodeList& parent = ListByKey(list.dependsOn);
        for (const auto& entry : list.entries) {
            bool found = false;
            for (const auto& p : parent.entries) found = found || p.index == entry.constraint;
            EXPECT_TRUE(found) << list.key << " " << entry.text;
        }
    }
}

}  // namespace
}  // namespace tb::sampleplant::test
