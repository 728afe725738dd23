#include "storefile_test_util.h"

#include <algorithm>

#include "support/test_support.h"

namespace tb::storefile::test {

namespace {

// CSV as mdb-export writes it: fields quoted with '"', quotes doubled, line breaks inside quotes.
std::vector<std::vector<Field>> ParseCsv(const std::string& text) {
    std::vector<std::vector<Field>> rows;
    std::vector<Field> row;
    std::string field;
    bool quoted = false, inQuotes = false, any = false;
    auto endField = [&] {
        row.push_back(quoted || !field.empty() ? Field(field) : std::nullopt);
        field.clear();
        quoted = false;
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        any = true;
        if (inQuotes) {
            if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
                field += '"';
                ++i;
            } else if (c == '"') {
                inQuotes = false;
            } else {
                field += c;
            }
        } else if (c == '"') {
            inQuotes = quoted = true;
        } else if (c == ',') {
            endField();
        } else if (c == '\n') {
            endField();
            rows.push_back(std::move(row));
            row.clear();
            any = false;
        } else if (c != '\r') {
            field += c;
        }
    }
    if (any) {
        endField();
        rows.push_back(std::move(row));
    }
    return rows;
}

tb::test::ProcessResult RunTool(const std::string& tool, std::vector<std::string> args) {
    // Through the shell only to drop standard error (libmdb's warnings), which would mix in.
    args.insert(args.begin(), {"-c", "exec " + tool + " \"$@\" 2>/dev/null", tool});
    return tb::test::RunProcess("/bin/sh", args,
                                {{"PATH", "/usr/bin:/bin"}, {"LC_ALL", "C.UTF-8"}});
}

}  // namespace

bool HaveMdbExport() {
    return fs::exists("/usr/bin/mdb-export");
}

std::vector<std::vector<Field>> MdbExport(const fs::path& file, const std::string& table) {
    const auto result =
        RunTool("mdb-export", {"-H", "-D", "%Y-%m-%d %H:%M:%S", "-T", "%Y-%m-%d %H:%M:%S", "-b",
                               "hex", file.string(), table});
    if (result.exitCode != 0)
        throw std::runtime_error("mdb-export " + table + " failed: " + result.output);
    return ParseCsv(result.output);
}

std::vector<mdb::Row> ReadRows(const fs::path& file, const std::string& table) {
    std::vector<mdb::Row> rows;
    mdb::MdbReader(file).ForEachRow(table, [&](const mdb::Row& r) { rows.push_back(r); });
    return rows;
}

std::vector<std::string> FilesIn(const fs::path& folder) {
    std::vector<std::string> out;
    if (!fs::exists(folder)) return out;
    for (const auto& e : fs::directory_iterator(folder))
        out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

}  // namespace tb::storefile::test
