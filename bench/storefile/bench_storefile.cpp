// Writing a large store table out: rows per second and MB/s of the .mdb and the .sqlite form, and
// the peak memory of each write (VmHWM, reset before it), for two row counts, so that growth
// with the row count shows.
//
//   bench_storefile [rows] [folder]     (defaults: 1000000, $TMPDIR or /tmp)

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

#include "common/error.h"
#include "store/store.h"
#include "storefile/store_file.h"

namespace fs = std::filesystem;
using namespace tb;

namespace {

// Peak resident memory in kB since the last reset.
long PeakKb() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
    return -1;
}

void ResetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

long CurrentKb() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
    return -1;
}

// Ten mixed columns, a counter among them; values vary per row.
void Fill(store::Store& s, long rows) {
    s.CreateTable("Items", {{"ID", store::ColumnType::Counter()},
                            {"Tag", store::ColumnType::Text(50)},
                            {"Description", store::ColumnType::Text(255)},
                            {"Size", store::ColumnType::Double()},
                            {"Weight", store::ColumnType::Single()},
                            {"Count", store::ColumnType::Long()},
                            {"Class", store::ColumnType::Integer()},
                            {"Price", store::ColumnType::Currency()},
                            {"Changed", store::ColumnType::DateTime()},
                            {"Active", store::ColumnType::Boolean()}});
    s.Execute(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
        std::to_string(rows) +
        ") INSERT INTO Items (Tag, Description, Size, Weight, Count, Class, Price, Changed, "
        "Active) "
        "SELECT 'P-' || i, 'Pipe run ' || i || ' of unit ' || (i % 97) || ', carbon steel, class "
        "150', "
        "i * 0.125, i % 1000 + 0.5, i * 7, i % 300, (i % 100000) / 100.0, "
        "printf('2024-%02d-%02d %02d:%02d:%02d', i % 12 + 1, i % 28 + 1, i % 24, i % 60, i % 60), "
        "CASE WHEN i % 3 = 0 THEN -1 ELSE 0 END FROM n");
}

void Measure(const store::Store& s, long rows, const fs::path& target) {
    ResetPeak();
    const long before = CurrentKb();
    const auto start = std::chrono::steady_clock::now();
    const std::clock_t cpuStart = std::clock();
    storefile::WriteStoreFile(s, target);
    const double cpu = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double mb = static_cast<double>(fs::file_size(target)) / 1e6;
    std::printf(
        "%-8s %9ld rows  %6.2f s (CPU %5.2f s)  %8.0f rows/s  %6.1f MB  %5.1f MB/s  peak %6ld kB "
        "(+%ld kB)\n",
        target.extension().c_str(), rows, seconds, cpu, rows / seconds, mb, mb / seconds, PeakKb(),
        PeakKb() - before);
    fs::remove(target);
}

}  // namespace

int main(int argc, char** argv) {
    const long rows = argc > 1 ? std::atol(argv[1]) : 1000000;
    const char* tmp = std::getenv("TMPDIR");
    const fs::path folder = argc > 2 ? fs::path(argv[2]) : fs::path(tmp && *tmp ? tmp : "/tmp");
    try {
        for (long n : {rows / 10, rows}) {
            const fs::path storeFile = folder / "bench_storefile.store";
            store::Store s = store::Store::Create(storeFile);
            Fill(s, n);
            Measure(s, n, folder / "bench_storefile.mdb");
            Measure(s, n, folder / "bench_storefile.sqlite");
            fs::remove(storeFile);
        }
    } catch (const Error& e) {
        std::fprintf(stderr, "%s\n", e.description().c_str());
        return 1;
    }
    return 0;
}
