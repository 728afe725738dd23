// Benchmark of the Jet 4 writer: one million rows of ten mixed columns written into an .mdb,
// beside a plain buffered CSV writer given the same rows in the same run, with the peak memory.
// A first run of a tenth of the rows shows that memory does not grow with the row count. A last
// run writes the table again with a primary key and three indexes.
//
//   tb_bench_jet_write [--rows N] [--dir FOLDER] [--keep]

#include <sys/resource.h>
#include <time.h>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "common/error.h"
#include "mdb/date_time.h"
#include "mdb/jet_writer.h"

namespace {

using namespace tb::mdb;
namespace fs = std::filesystem;

const TableDef kTable{"Items",
                      {{"ID", JetType::Long, 0, true},
                       {"Name", JetType::Text, 50},
                       {"Tag", JetType::Text, 20},
                       {"Quantity", JetType::Long},
                       {"Price", JetType::Currency},
                       {"Weight", JetType::Double},
                       {"Ratio", JetType::Single},
                       {"Delivered", JetType::DateTime},
                       {"Active", JetType::Boolean},
                       {"Notes", JetType::Memo}}};

// Repeatable rows: a small linear congruential generator drives every value. Every 50th row
// has a long note (stored outside the row), every 7th a Null note.
class Rows : public RowSource {
  public:
    explicit Rows(std::int64_t count) : count_(count) {}

    bool Next(Row& row) override {
        if (index_ >= count_) return false;
        ++index_;
        row.resize(10);
        const std::uint64_t r = Step();
        row[0] = std::int64_t{index_};
        std::string name = "Item ";
        name += std::to_string(r % 1000000);
        name += index_ % 3 == 0 ? " Größe" : " standard";
        row[1] = std::move(name);
        row[2] = std::string(kTags[r % 5]);
        row[3] = static_cast<std::int64_t>(r % 100000);
        row[4] = Currency{static_cast<std::int64_t>(r % 100000000)};
        row[5] = static_cast<double>(r % 1000000) / 1000.0;
        row[6] = static_cast<double>(r % 1000) / 7.0;
        row[7] = DateTime{40000.0 + static_cast<double>(r % 10000) +
                          static_cast<double>(r % 86400) / 86400.0};
        row[8] = (r & 1) != 0;
        if (index_ % 7 == 0) {
            row[9] = Null{};
        } else if (index_ % 50 == 0) {
            row[9] = std::string(3000, static_cast<char>('a' + r % 26));
        } else {
            row[9] = std::string("Checked on delivery, lot ") + std::to_string(r % 997);
        }
        return true;
    }
    std::int64_t RowCountHint() const override { return count_ - index_; }

  private:
    std::uint64_t Step() {
        state_ = state_ * 6364136223846793005ull + 1442695040888963407ull;
        return state_ >> 16;
    }
    static constexpr const char* kTags[] = {"pipe", "valve", "pump", "vessel", "instrument"};
    std::int64_t count_;
    std::int64_t index_ = 0;
    std::uint64_t state_ = 42;
};

// The baseline: the same rows as CSV through one buffered stream.
void WriteCsv(const fs::path& file, std::int64_t count) {
    std::unique_ptr<FILE, int (*)(FILE*)> out(std::fopen(file.c_str(), "wb"), std::fclose);
    if (!out) throw tb::Error(tb::kErrFileAccess, "Cannot write " + file.string());
    static char buffer[1 << 20];
    std::setvbuf(out.get(), buffer, _IOFBF, sizeof buffer);
    Rows rows(count);
    Row row;
    std::string line;
    char num[64];
    auto text = [&](const std::string& s) {
        line += '"';
        for (char c : s) {
            if (c == '"') line += '"';
            line += c;
        }
        line += '"';
    };
    auto number = [&](auto v) {
        const auto r = std::to_chars(num, num + sizeof num, v);
        line.append(num, r.ptr);
    };
    while (rows.Next(row)) {
        line.clear();
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (i) line += ',';
            const Value& v = row[i];
            if (const auto* s = std::get_if<std::string>(&v)) {
                text(*s);
            } else if (const auto* n = std::get_if<std::int64_t>(&v)) {
                number(*n);
            } else if (const auto* d = std::get_if<double>(&v)) {
                number(*d);
            } else if (const auto* c = std::get_if<Currency>(&v)) {
                // Four decimals (the generator makes no negative amounts).
                number(c->scaled / 10000);
                const auto cents = static_cast<int>(c->scaled % 10000);
                line += '.';
                line += static_cast<char>('0' + cents / 1000);
                line += static_cast<char>('0' + cents / 100 % 10);
                line += static_cast<char>('0' + cents / 10 % 10);
                line += static_cast<char>('0' + cents % 10);
            } else if (const auto* t = std::get_if<DateTime>(&v)) {
                line += DateTimeToText(*t);
            } else if (const auto* b = std::get_if<bool>(&v)) {
                line += *b ? "1" : "0";
            }
        }
        line += '\n';
        std::fwrite(line.data(), 1, line.size(), out.get());
    }
}

// What making the rows costs by itself, to be taken off both writers' times.
void MakeRowsOnly(std::int64_t count) {
    Rows rows(count);
    Row row;
    std::size_t sink = 0;
    while (rows.Next(row)) sink += row.size();
    if (sink == 0 && count > 0) std::fputs("no rows\n", stderr);
}

// The primary key on the counter, and indexes on a text, a short text and a date (descending).
const std::vector<IndexDef> kIndexes = {{"PrimaryKey", {{"ID", true}}, true, true, false},
                                        {"Name", {{"Name", true}}, false, false, false},
                                        {"Tag", {{"Tag", true}}, false, false, false},
                                        {"Delivered", {{"Delivered", false}}, false, false, false}};

void WriteJet(const fs::path& file, std::int64_t count, bool indexed = false) {
    JetWriter writer(file);
    Rows rows(count);
    writer.AddTable(kTable, rows, indexed ? kIndexes : std::vector<IndexDef>{});
    writer.Commit();
}

struct Timing {
    double wall = 0;
    double cpu = 0;  // user and system time of the process: steadier on a shared machine
};

double CpuSeconds() {
    timespec ts{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

template <class F>
Timing Measure(F&& f) {
    const auto start = std::chrono::steady_clock::now();
    const double cpu = CpuSeconds();
    f();
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
            CpuSeconds() - cpu};
}

double PeakMegabytes() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;  // ru_maxrss is in KiB on Linux
}

double Megabytes(const fs::path& file) {
    return static_cast<double>(fs::file_size(file)) / (1024.0 * 1024.0);
}

}  // namespace

int main(int argc, char** argv) {
    std::int64_t count = 1000000;
    fs::path dir = fs::temp_directory_path();
    bool keep = false;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--rows") && i + 1 < argc) {
            count = std::stoll(argv[++i]);
        } else if (!std::strcmp(argv[i], "--dir") && i + 1 < argc) {
            dir = argv[++i];
        } else if (!std::strcmp(argv[i], "--keep")) {
            keep = true;
        } else {
            std::fprintf(stderr, "usage: %s [--rows N] [--dir FOLDER] [--keep]\n", argv[0]);
            return 2;
        }
    }
    const fs::path mdb = dir / "tb_bench_jet_write.mdb";
    const fs::path small = dir / "tb_bench_jet_write_small.mdb";
    const fs::path csv = dir / "tb_bench_jet_write.csv";
    const fs::path mdbIndexed = dir / "tb_bench_jet_write_indexed.mdb";
    try {
        const double baseline = PeakMegabytes();
        const Timing small10 = Measure([&] { WriteJet(small, count / 10); });
        const double smallPeak = PeakMegabytes();
        const Timing jet = Measure([&] { WriteJet(mdb, count); });
        const double jetPeak = PeakMegabytes();
        const Timing csvTime = Measure([&] { WriteCsv(csv, count); });
        const Timing rowTime = Measure([&] { MakeRowsOnly(count); });
        const Timing indexed = Measure([&] { WriteJet(mdbIndexed, count, true); });
        const double indexedPeak = PeakMegabytes();
        const double indexedMb = Megabytes(mdbIndexed);
        const double jetMb = Megabytes(mdb);
        const double csvMb = Megabytes(csv);
        std::printf(
            "rows                 %lld (ten columns: Counter, 2 Text, Long, Currency, Double, "
            "Single, "
            "DateTime, Boolean, Memo)\n",
            static_cast<long long>(count));
        std::printf("                     wall s   cpu s   size MB  MB/s (wall)  rows/s (wall)\n");
        std::printf("mdb                  %6.2f  %6.2f  %8.1f  %11.1f  %13.0f\n", jet.wall, jet.cpu,
                    jetMb, jetMb / jet.wall, static_cast<double>(count) / jet.wall);
        std::printf("mdb + key, 3 indexes %6.2f  %6.2f  %8.1f  %11.1f  %13.0f\n", indexed.wall,
                    indexed.cpu, indexedMb, indexedMb / indexed.wall,
                    static_cast<double>(count) / indexed.wall);
        std::printf("csv (buffered)       %6.2f  %6.2f  %8.1f  %11.1f  %13.0f\n", csvTime.wall,
                    csvTime.cpu, csvMb, csvMb / csvTime.wall,
                    static_cast<double>(count) / csvTime.wall);
        std::printf("making the rows      %6.2f  %6.2f  (included in both lines above)\n",
                    rowTime.wall, rowTime.cpu);
        std::printf("mdb / csv            wall %.2f, cpu %.2f\n", jet.wall / csvTime.wall,
                    jet.cpu / csvTime.cpu);
        std::printf(
            "peak memory (RSS)    %.1f MB at start, %.1f MB after %lld rows (%.2f s), %.1f MB "
            "after %lld rows\n",
            baseline, smallPeak, static_cast<long long>(count / 10), small10.wall, jetPeak,
            static_cast<long long>(count));
        std::printf(
            "with indexes         wall %.2f, cpu %.2f of the run without; peak memory "
            "%.1f MB (the keys wait in memory until the table's rows are out)\n",
            indexed.wall / jet.wall, indexed.cpu / jet.cpu, indexedPeak);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "error: %s\n", e.what());
        return 1;
    }
    if (!keep) {
        std::error_code ec;
        fs::remove(mdb, ec);
        fs::remove(small, ec);
        fs::remove(csv, ec);
        fs::remove(mdbIndexed, ec);
    }
    return 0;
}
