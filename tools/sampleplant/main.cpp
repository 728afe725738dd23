// tarnbrook-sampleplant: writes the embedded sample plant into a folder.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "common/error.h"
#include "plant_generator.h"

namespace {

const char* const kUsage =
    "Usage: tarnbrook-sampleplant --out DIR [--preset tiny|default] [--drawings N] [--seed S]\n"
    "                             [--quiet] [--markdown]\n"
    "Writes a sample plant (SQLite schema files, SmartPlantv4.ini and drawing files) into DIR.\n"
    "  --preset tiny     the four hand-made drawings only\n"
    "  --preset default  40 drawings (the same as no preset)\n"
    "  --drawings N      N drawings in all, from 4 to 10000\n"
    "  --seed S          another plant of the same shape (default 1)\n"
    "  --markdown        print the row counts as a Markdown table\n";

bool ParseNumber(std::string_view text, long long& value) {
    if (text.empty()) return false;
    char* end = nullptr;
    const std::string copy(text);
    value = std::strtoll(copy.c_str(), &end, 10);
    return end && *end == '\0';
}

}  // namespace

int main(int argc, char** argv) {
    tb::sampleplant::Options options;
    bool quiet = false;
    bool markdown = false;
    bool haveOut = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const bool hasValue = i + 1 < argc;
        long long number = 0;
        if (arg == "--out" && hasValue) {
            options.out = argv[++i];
            haveOut = true;
        } else if (arg == "--drawings" && hasValue && ParseNumber(argv[i + 1], number)) {
            options.drawings = static_cast<int>(number);
            ++i;
        } else if (arg == "--seed" && hasValue && ParseNumber(argv[i + 1], number) && number >= 0) {
            options.seed = static_cast<std::uint64_t>(number);
            ++i;
        } else if (arg == "--preset" && hasValue) {
            const std::string_view preset = argv[++i];
            if (preset == "tiny") {
                options.drawings = tb::sampleplant::kShowcaseDrawings;
            } else if (preset == "default") {
                options.drawings = tb::sampleplant::kDefaultDrawings;
            } else {
                std::fprintf(stderr, "Unknown preset '%s'\n%s", argv[i], kUsage);
                return 1;
            }
        } else if (arg == "--quiet") {
            quiet = true;
        } else if (arg == "--markdown") {
            markdown = true;
        } else if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else {
            std::fprintf(stderr, "Unknown or incomplete argument '%s'\n%s", argv[i], kUsage);
            return 1;
        }
    }
    if (!haveOut) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    const auto start = std::chrono::steady_clock::now();
    try {
        const auto result = tb::sampleplant::GeneratePlant(options);
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (markdown) {
            std::printf("| File | Table | Rows |\n|---|---|---:|\n");
            for (const auto& file : result.files) {
                for (const auto& [table, rows] : file.tables) {
                    std::printf("| %s | %s | %lld |\n", file.file.c_str(), table.c_str(),
                                static_cast<long long>(rows));
                }
            }
        } else if (!quiet) {
            long long total = 0;
            for (const auto& file : result.files) {
                long long rows = 0;
                for (const auto& entry : file.tables) rows += entry.second;
                std::printf("%-24s %10lld rows\n", file.file.c_str(), rows);
                total += rows;
            }
            std::printf("%-24s %10d files\n", "drawing files", result.drawingFiles);
            std::printf("%lld rows in %.2f s\n", total, seconds);
        }
    } catch (const tb::Error& e) {
        std::fprintf(stderr, "tarnbrook-sampleplant: %s\n", e.description().c_str());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "tarnbrook-sampleplant: %s\n", e.what());
        return 1;
    }
    return 0;
}
