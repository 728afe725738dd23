// tb_bench_plantaccess: copies the largest tables of a sample plant's P&ID data into a store by
// the SQLite path (store attached, INSERT ... SELECT inside SQLite) and by the ODBC path (Debian's
// SQLite ODBC driver, block fetch, one prepared insert), and has the sqlite3 shell do the same copy
// for comparison. Prints Markdown tables of times and rows per second: wall clock, and processor
// time (the process's own for our paths, the child's for the shell), which a busy machine disturbs
// less.

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "common/error.h"
#include "plant_generator.h"
#include "plantaccess/ado.h"
#include "plantaccess/sqlite_plant.h"
#include "plantaccess/transfer.h"
#include "store/store.h"

namespace fs = std::filesystem;
using namespace tb;

namespace {

const char* const kUsage =
    "Usage: tb_bench_plantaccess [--plant DIR] [--drawings N] [--work DIR] [--tables N]\n"
    "  --plant DIR     a sample plant folder; generated there when it holds none (default: "
    "WORK/plant)\n"
    "  --drawings N    drawings of a generated plant (default 2000)\n"
    "  --work DIR      folder for the stores (default: a folder in /tmp, removed afterwards)\n"
    "  --tables N      how many of the largest tables to copy (default 6)\n";

constexpr const char* kOdbcDriver = "/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so";

struct Times {
    double wall = 0;
    double cpu = 0;
};

double ChildrenCpu() {
    rusage u{};
    getrusage(RUSAGE_CHILDREN, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

double OwnCpu() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return t.tv_sec + t.tv_nsec / 1e9;
}

// `child`: the work runs in a child process, whose processor time counts.
Times Measure(const std::function<void()>& work, bool child = false) {
    const auto start = std::chrono::steady_clock::now();
    const double cpu0 = child ? ChildrenCpu() : OwnCpu();
    work();
    Times t;
    t.cpu = (child ? ChildrenCpu() : OwnCpu()) - cpu0;
    t.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return t;
}

double Seconds(const std::function<void()>& work) {
    return Measure(work).wall;
}

std::string Quote(const std::string& text) {
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

std::string Rate(std::int64_t rows, double seconds) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.3f s (%.0f rows/s)", seconds,
                  seconds > 0 ? rows / seconds : 0.0);
    return buf;
}

}  // namespace

int main(int argc, char** argv) {
    fs::path plant, work;
    int drawings = 2000;
    std::size_t tableCount = 6;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool value = i + 1 < argc;
        if (arg == "--plant" && value)
            plant = argv[++i];
        else if (arg == "--work" && value)
            work = argv[++i];
        else if (arg == "--drawings" && value)
            drawings = std::atoi(argv[++i]);
        else if (arg == "--tables" && value)
            tableCount = static_cast<std::size_t>(std::atoi(argv[++i]));
        else {
            std::fputs(kUsage, stderr);
            return 1;
        }
    }
    const bool removeWork = work.empty();
    if (work.empty()) {
        std::string templ = "/tmp/tb_bench_plantaccessXXXXXX";
        if (!mkdtemp(templ.data())) return 1;
        work = templ;
    }
    if (plant.empty()) plant = work / "plant";
    try {
        if (!fs::exists(plant / tb::sampleplant::kSiteIni)) {
            sampleplant::Options options;
            options.out = plant;
            options.drawings = drawings;
            const double s = Seconds([&] { sampleplant::GeneratePlant(options); });
            std::printf("Generated a plant of %d drawings in %.1f s\n", drawings, s);
        }
        const fs::path data = plant / "PLANTAPID.db";
        auto source = plantaccess::SqlitePlantConnection::Open("bench", plant, "PLANTAPID");

        // The largest tables by rows.
        std::vector<std::pair<std::int64_t, std::string>> tables;
        auto names = plantaccess::AdoRead(
            "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite%'",
            source);
        for (; !names->Eof(); names->MoveNext()) {
            const std::string name = names->Field(0).text();
            const auto rows = plantaccess::AdoRead("SELECT count(*) FROM \"" + name + "\"", source)
                                  ->Field(0)
                                  .integer();
            tables.emplace_back(rows, name);
        }
        std::sort(tables.rbegin(), tables.rend());
        tables.resize(std::min(tableCount, tables.size()));

        const bool haveOdbc = fs::exists(kOdbcDriver);
        plantaccess::ConnectionPtr odbc;
        if (haveOdbc)
            odbc = plantaccess::OpenConnection(std::string("ODBC;DRIVER=") + kOdbcDriver +
                                               ";Database=" + data.string() + ";NoCreat=1");
        store::Store viaSqlite = store::Store::Create(work / "sqlite-path.store");
        store::Store viaOdbc = store::Store::Create(work / "odbc-path.store");
        const fs::path shellDb = work / "shell.db";
        fs::remove(shellDb);

        struct Line {
            std::string table;
            std::int64_t rows = 0;
            std::size_t columns = 0;
            Times sqlite, odbc, shell;
        };
        std::vector<Line> lines;
        Line all;
        all.table = "all";
        for (const auto& [count, table] : tables) {
            const std::string sql = "SELECT * FROM \"" + table + "\"";
            Line line;
            line.table = table;
            plantaccess::TransferResult r;
            line.sqlite =
                Measure([&] { r = plantaccess::CopyQueryToStore(*source, sql, viaSqlite, table); });
            if (odbc)
                line.odbc =
                    Measure([&] { plantaccess::CopyQueryToStore(*odbc, sql, viaOdbc, table); });
            const std::string script =
                "PRAGMA journal_mode=MEMORY; PRAGMA synchronous=OFF; ATTACH " +
                Quote("file:" + data.string() + "?mode=ro") + " AS p; CREATE TABLE \"" + table +
                "\" AS SELECT * FROM p.\"" + table + "\";";
            const std::string command =
                "sqlite3 " + Quote(shellDb.string()) + " \"" + script + "\" > /dev/null";
            line.shell = Measure(
                [&] {
                    if (std::system(command.c_str()) != 0)
                        throw Error(kErrInternal, "sqlite3 failed: " + command);
                },
                true);
            line.rows = r.rows;
            line.columns = r.columns.size();
            all.rows += line.rows;
            all.sqlite.wall += line.sqlite.wall, all.sqlite.cpu += line.sqlite.cpu;
            all.odbc.wall += line.odbc.wall, all.odbc.cpu += line.odbc.cpu;
            all.shell.wall += line.shell.wall, all.shell.cpu += line.shell.cpu;
            lines.push_back(line);
        }
        lines.push_back(all);
        for (const bool cpu : {false, true}) {
            std::printf("\n%s\n\n", cpu ? "Processor time:" : "Wall clock:");
            std::printf(
                "| Table | Rows | Columns | SQLite path | ODBC path | sqlite3 shell | SQLite path "
                "/ shell | ODBC path / shell |\n");
            std::printf("|---|---:|---:|---|---|---|---:|---:|\n");
            for (const Line& l : lines) {
                const double a = cpu ? l.sqlite.cpu : l.sqlite.wall;
                const double b = cpu ? l.odbc.cpu : l.odbc.wall;
                const double c = cpu ? l.shell.cpu : l.shell.wall;
                char ratioOdbc[32] = "-";
                if (odbc) std::snprintf(ratioOdbc, sizeof ratioOdbc, "%.2f", b / c);
                std::printf("| %s | %lld | %s | %s | %s | %s | %.2f | %s |\n", l.table.c_str(),
                            static_cast<long long>(l.rows),
                            l.columns ? std::to_string(l.columns).c_str() : "",
                            Rate(l.rows, a).c_str(), odbc ? Rate(l.rows, b).c_str() : "-",
                            Rate(l.rows, c).c_str(), a / c, ratioOdbc);
            }
        }
    } catch (const Error& e) {
        std::fprintf(stderr, "tb_bench_plantaccess: %s (%s)\n", e.description().c_str(),
                     e.source().c_str());
        return 1;
    }
    if (removeWork) fs::remove_all(work);
    return 0;
}
