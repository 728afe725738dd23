// Linked tables: catalogue rows of type 6 naming the other file and its table, with the file's
// path stored as a long value of MSysObjects when it does not fit the row.

#include <gtest/gtest.h>

#include "common/error.h"
#include "mdb/jet_file_parser.h"
#include "mdb/jet_test_support.h"
#include "support/test_support.h"

namespace tb::mdb::test {
namespace {

using tb::test::TempDir;

struct LinkRow {
    std::int32_t id = 0;
    std::string name, database, foreignName;
    bool connectNull = true;
};

// The catalogue rows of type 6, read with the test parser.
std::vector<LinkRow> LinkRows(const fs::path& file) {
    const JetFile f(ReadBytes(file));
    const ParsedTdef objects = f.ParseTdef(2);
    std::vector<std::string> problems;
    std::vector<LinkRow> out;
    auto text = [&](const ParsedRow& r, const char* column) {
        const ParsedColumn* c = objects.Column(column);
        if (r.null[c->number]) return std::string();
        if (c->type == 0x0A) return DecodeJetText(r.raw[c->number]);
        std::string problem;
        const auto bytes = f.LongValue(r.raw[c->number], problem);
        EXPECT_TRUE(bytes) << problem;
        return bytes ? DecodeJetText(*bytes) : std::string();
    };
    for (const ParsedRow& r : f.TableRows(objects, problems)) {
        if (Le16(r.raw[objects.Column("Type")->number].data()) != 6) continue;
        LinkRow l;
        l.id = static_cast<std::int32_t>(Le32(r.raw[objects.Column("Id")->number].data()));
        l.name = text(r, "Name");
        l.database = text(r, "Database");
        l.foreignName = text(r, "ForeignName");
        l.connectNull = r.null[objects.Column("Connect")->number];
        out.push_back(l);
    }
    EXPECT_TRUE(problems.empty());
    return out;
}

TEST(LinkedTables, StandInTheCatalogueWithTheirFileAndTable) {
    TempDir dir;
    // Long enough for a long-value page of its own (over 64 bytes in UTF-16).
    const std::string far = "/srv/plants/" + std::string(150, 'p') + "/Extract_link.mdb";
    {
        JetWriter writer(dir / "l.mdb", FixedOptions());
        VectorRowSource rows(std::vector<Row>{Row{std::int64_t{1}}});
        writer.AddTable({"Local", {{"X", JetType::Long}}}, rows);
        writer.AddLink({"PID", "/srv/x_link.mdb", "PID", {}});
        writer.AddLink({"Far Table", far, "Remote Name", "MS Access;PWD=x"});
        // Links share the tables' names, which Access compares ignoring case.
        EXPECT_THROW(writer.AddLink({"local", "/y.mdb", "T", {}}), Error);
        writer.Commit();
    }
    EXPECT_EQ(StructureProblems(dir / "l.mdb"), "");
    const auto links = LinkRows(dir / "l.mdb");
    ASSERT_EQ(links.size(), 2u);
    EXPECT_EQ(links[0].id, static_cast<std::int32_t>(0x80000001u)) << "ids below every page";
    EXPECT_EQ(links[1].id, static_cast<std::int32_t>(0x80000002u));
    EXPECT_EQ(links[0].name, "PID");
    EXPECT_EQ(links[0].database, "/srv/x_link.mdb");
    EXPECT_EQ(links[0].foreignName, "PID");
    EXPECT_TRUE(links[0].connectNull);
    EXPECT_EQ(links[1].database, far);
    EXPECT_EQ(links[1].foreignName, "Remote Name");
    EXPECT_FALSE(links[1].connectNull);
}

}  // namespace
}  // namespace tb::mdb::test
