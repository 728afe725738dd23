#include "readers/outside_readers.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/file.h>
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "mdb/mdb_reader.h"
#include "support/test_support.h"

extern char** environ;

namespace tb::readers {

namespace {

using mdb::JetType;
using json = nlohmann::json;

// Dates as mdbtools prints them with this format, so they compare as text.
constexpr const char* kDateFormat = "%Y-%m-%d %H:%M:%S";

fs::path FindProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::stringstream dirs(path ? path : "/usr/bin:/bin");
    for (std::string dir; std::getline(dirs, dir, ':');) {
        if (dir.empty()) continue;
        const fs::path candidate = fs::path(dir) / name;
        if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return {};
}

std::map<std::string, std::string> InheritedEnvironment() {
    std::map<std::string, std::string> env;
    for (char** e = environ; e && *e; ++e) {
        const std::string entry = *e;
        const auto eq = entry.find('=');
        if (eq != std::string::npos) env[entry.substr(0, eq)] = entry.substr(eq + 1);
    }
    return env;
}

// mdbtools' programs print through the locale and convert names with MDBICONV: fix both.
std::map<std::string, std::string> ToolEnvironment() {
    const char* path = std::getenv("PATH");
    return {{"PATH", path ? path : "/usr/bin:/bin"}, {"LANG", "C.UTF-8"}, {"LC_ALL", "C.UTF-8"}};
}

struct Output {
    int exitCode = -1;
    std::string out;  // standard output
    std::string err;  // standard error
};

// Runs a program with its standard output in a file of its own, so that warnings on standard
// error never mix into the data.
Output Run(const std::string& program, const std::vector<std::string>& args,
           std::map<std::string, std::string> env) {
    const fs::path exe = FindProgram(program);
    if (exe.empty()) throw std::runtime_error(program + " is not installed");
    test::TempDir dir;
    env["TB_OUT"] = (dir / "out").string();
    std::vector<std::string> shArgs = {"-c", "exec \"$@\" >\"$TB_OUT\"", "sh", exe.string()};
    shArgs.insert(shArgs.end(), args.begin(), args.end());
    const test::ProcessResult r = test::RunProcess("/bin/sh", shArgs, env);
    return {r.exitCode, test::ReadFile(dir / "out"), r.output};
}

Output RunTool(const std::string& program, const std::vector<std::string>& args) {
    Output o = Run(program, args, ToolEnvironment());
    if (o.exitCode != 0) {
        std::string line = program;
        for (const auto& a : args) line += " " + a;
        throw std::runtime_error(line + " failed (" + std::to_string(o.exitCode) + "): " + o.err);
    }
    return o;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::stringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (!line.empty()) lines.push_back(line);
    return lines;
}

std::string Trim(std::string s) {
    const auto b = s.find_first_not_of(" \t\r\n");
    if (b == std::string::npos) return {};
    const auto e = s.find_last_not_of(" \t\r\n");
    return s.substr(b, e - b + 1);
}

std::string Hex(const unsigned char* p, std::size_t n) {
    static const char* digits = "0123456789ABCDEF";
    std::string s;
    s.reserve(n * 2);
    for (std::size_t i = 0; i < n; ++i) {
        s += digits[p[i] >> 4];
        s += digits[p[i] & 15];
    }
    return s;
}

std::string Hex(const std::string& bytes) {
    return Hex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

// mdb-export's CSV: fields split by commas, text-like fields in double quotes with quotes
// doubled (line breaks may stand inside), an unquoted NULL for Null.
std::vector<std::vector<Cell>> ParseExport(const std::string& text) {
    std::vector<std::vector<Cell>> rows;
    std::vector<Cell> row;
    std::size_t i = 0;
    while (i < text.size()) {
        Cell cell;
        if (text[i] == '"') {
            std::string value;
            for (++i;; ++i) {
                if (i >= text.size()) throw std::runtime_error("mdb-export: unterminated quote");
                if (text[i] == '"') {
                    if (i + 1 < text.size() && text[i + 1] == '"') {
                        value += '"';
                        ++i;
                    } else {
                        ++i;
                        break;
                    }
                } else {
                    value += text[i];
                }
            }
            cell = std::move(value);
        } else {
            const auto end = text.find_first_of(",\n", i);
            std::string value = text.substr(i, end == std::string::npos ? end : end - i);
            i = end == std::string::npos ? text.size() : end;
            if (value != "NULL") cell = std::move(value);
        }
        row.push_back(std::move(cell));
        if (i >= text.size() || text[i] == '\n') {
            rows.push_back(std::move(row));
            row.clear();
        } else if (text[i] != ',') {
            throw std::runtime_error("mdb-export: unexpected text after a quoted field");
        }
        ++i;
    }
    return rows;
}

std::string DoubleText(double d, std::chars_format format = std::chars_format::general,
                       int precision = -1) {
    char buf[64];
    const auto r = precision < 0 ? std::to_chars(buf, buf + sizeof buf, d)
                                 : std::to_chars(buf, buf + sizeof buf, d, format, precision);
    return std::string(buf, r.ptr);
}

// The shortest text of the number that reads back the same: how mdb-reader's values compare.
std::string Shortest(const std::string& jsText) {
    if (jsText == "NaN") return "nan";
    if (jsText == "Infinity") return "inf";
    if (jsText == "-Infinity") return "-inf";
    double d = 0;
    const auto r = std::from_chars(jsText.data(), jsText.data() + jsText.size(), d);
    if (r.ec != std::errc() || r.ptr != jsText.data() + jsText.size())
        throw std::runtime_error("not a number: " + jsText);
    return DoubleText(d);
}

std::string CurrencyText(std::int64_t scaled) {
    const bool negative = scaled < 0;
    const std::uint64_t magnitude =
        negative ? 0 - static_cast<std::uint64_t>(scaled) : static_cast<std::uint64_t>(scaled);
    std::string frac = std::to_string(magnitude % 10000);
    frac.insert(0, 4 - frac.size(), '0');
    return (negative ? "-" : "") + std::to_string(magnitude / 10000) + "." + frac;
}

std::string Padded(long long v, int width) {
    std::string s = std::to_string(v);
    if (static_cast<int>(s.size()) < width)
        s.insert(0, static_cast<std::size_t>(width) - s.size(), '0');
    return s;
}

// mdbtools' date text: whole days from 1899-12-30 and the fraction rounded to the second,
// without carrying a rounded 24:00:00 into the next day.
std::string MdbToolsDate(double td) {
    using namespace std::chrono;
    const long day = static_cast<long>(td);
    const long time = static_cast<long>((td - static_cast<double>(day)) * 86400.0 + 0.5);
    const year_month_day ymd{sys_days{year{1899} / December / 30} + days{day}};
    return Padded(int(ymd.year()), 4) + "-" + Padded(unsigned(ymd.month()), 2) + "-" +
           Padded(unsigned(ymd.day()), 2) + " " + Padded(time / 3600, 2) + ":" +
           Padded(time / 60 % 60, 2) + ":" + Padded(time % 60, 2);
}

// mdb-reader's Date: Math.round((days - 25569) * 86400 * 1000) milliseconds since 1970.
std::string MdbReaderDate(double td) {
    const double ms = (td - 25569) * 86400 * 1000;
    double r = std::floor(ms);
    if (ms - r >= 0.5) r += 1;  // JavaScript rounds halves up
    return DoubleText(r, std::chars_format::fixed, 0);
}

// mdbtools: "{XXXXXXXX-XXXX-XXXX-XXXXXXXXXXXXXXXX}"; mdb-reader:
// "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx".
std::string GuidText(const mdb::Guid& g, bool tools) {
    const auto& b = g.bytes;
    const unsigned char order[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    std::string s = tools ? "{" : "";
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || (i == 10 && !tools)) s += '-';
        s += Hex(&b[order[i]], 1);
    }
    return tools ? s + "}" : s;
}

// mdbtools converts UCS-2, not UTF-16: a character outside the Basic Multilingual Plane (a
// surrogate pair) comes out as "??".
std::string WithoutSurrogatePairs(const std::string& utf8) {
    std::string out;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        if ((static_cast<unsigned char>(utf8[i]) & 0xF8) == 0xF0) {
            out += "??";
            i += 3;
        } else {
            out += utf8[i];
        }
    }
    return out;
}

// mdb-json writes numbers as printf made them, which JSON parsers may refuse ("%.16g" of the
// largest Double overflows): quote them, so they arrive as their text.
std::string QuoteBareNumbers(const std::string& line) {
    std::string out;
    out.reserve(line.size() + 16);
    bool inString = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (inString) {
            out += c;
            if (c == '\\' && i + 1 < line.size()) {
                out += line[++i];
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
            out += c;
        } else if (c == '-' || (c >= '0' && c <= '9') || c == 'i' || c == 'n') {
            const auto end = line.find_first_of(",}", i);
            out += '"' + line.substr(i, end - i) + '"';
            i = end - 1;
        } else {
            out += c;
        }
    }
    return out;
}

std::string Lower(std::string s) {
    for (auto& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

}  // namespace

const char* ReaderName(Reader reader) {
    return reader == Reader::MdbTools ? "mdbtools" : "mdb-reader";
}

// --- mdbtools ----------------------------------------------------------------------------------

namespace mdbtools {

std::string Unavailable() {
    for (const char* p : {"mdb-tables", "mdb-schema", "mdb-export", "mdb-count", "mdb-json"})
        if (FindProgram(p).empty()) return std::string(p) + " is not installed (Debian: mdbtools)";
    return {};
}

std::vector<std::string> Tables(const fs::path& file, bool system) {
    std::vector<std::string> args = {"-1"};
    if (system) args.push_back("-S");
    args.push_back(file.string());
    return Lines(RunTool("mdb-tables", args).out);
}

std::vector<std::string> LinkedTables(const fs::path& file) {
    return Lines(RunTool("mdb-tables", {"-1", "-t", "linkedtable", file.string()}).out);
}

std::vector<std::string> IndexStatements(const fs::path& file, const std::string& table) {
    const Output o =
        RunTool("mdb-schema", {"-T", table, "--indexes", "--no-relations", "--no-comments",
                               "--no-drop-table", file.string(), "postgres"});
    std::vector<std::string> out;
    for (const auto& raw : Lines(o.out)) {
        const std::string line = Trim(raw);
        if (line.rfind("CREATE", 0) == 0 && line.find("INDEX") != std::string::npos)
            out.push_back(line);
        else if (line.find("PRIMARY KEY") != std::string::npos)
            out.push_back(line);
    }
    return out;
}

std::vector<OutsideColumn> Schema(const fs::path& file, const std::string& table) {
    const Output o =
        RunTool("mdb-schema", {"-T", table, "--no-indexes", "--no-relations", "--no-not-null",
                               "--no-comments", "--no-drop-table", file.string(), "access"});
    std::vector<OutsideColumn> columns;
    for (const auto& raw : Lines(o.out)) {
        const std::string line = Trim(raw);
        if (line.empty() || line[0] != '[') continue;  // column lines only
        const auto close = line.find(']');
        std::string type = Trim(line.substr(close + 1));
        if (!type.empty() && type.back() == ',') type = Trim(type.substr(0, type.size() - 1));
        columns.push_back({line.substr(1, close - 1), type});
    }
    return columns;
}

std::int64_t Count(const fs::path& file, const std::string& table) {
    const std::string text = Trim(RunTool("mdb-count", {file.string(), table}).out);
    std::int64_t n = -1;
    std::from_chars(text.data(), text.data() + text.size(), n);
    return n;
}

std::vector<std::vector<Cell>> Export(const fs::path& file, const std::string& table) {
    return ParseExport(RunTool("mdb-export", {"-H", "-b", "hex", "-0", "NULL", "-D", kDateFormat,
                                              "-T", kDateFormat, file.string(), table})
                           .out);
}

std::vector<std::vector<Cell>> Json(const fs::path& file, const std::string& table,
                                    const std::vector<OutsideColumn>& columns) {
    const Output o =
        RunTool("mdb-json", {"-D", kDateFormat, "-T", kDateFormat, file.string(), table});
    std::vector<std::vector<Cell>> rows;
    for (const auto& line : Lines(o.out)) {
        const json object = json::parse(QuoteBareNumbers(line));
        auto& row = rows.emplace_back();
        for (const auto& col : columns) {
            const auto it = object.find(col.name);
            if (it == object.end()) {
                row.emplace_back();
            } else if (it->is_string()) {
                row.emplace_back(it->get<std::string>());
            } else if (it->is_object()) {  // {"$binary": base64}
                gsize n = 0;
                guchar* bytes = g_base64_decode(it->at("$binary").get<std::string>().c_str(), &n);
                row.emplace_back(Hex(bytes, n));
                g_free(bytes);
            } else {
                row.emplace_back(it->dump());
            }
        }
    }
    return rows;
}

OutsideTable Read(const fs::path& file, const std::string& table) {
    OutsideTable t;
    t.name = table;
    t.columns = Schema(file, table);
    t.declaredRows = Count(file, table);
    t.rows = Export(file, table);
    return t;
}

}  // namespace mdbtools

// --- mdb-reader --------------------------------------------------------------------------------

namespace mdbreader {

namespace {

fs::path ReadersDir() {
    return test::SourceDir() / "tests" / "readers";
}

// Installs the pinned package once; a lock keeps parallel test processes from racing.
std::string Install() {
    const fs::path dir = ReadersDir();
    if (!fs::exists(dir / "dump_mdb.mjs"))
        return "tests/readers/dump_mdb.mjs not found in " + dir.string();
    if (FindProgram("node").empty()) return "node is not installed";
    const fs::path marker = dir / "node_modules" / "mdb-reader" / "package.json";
    if (fs::exists(marker)) return {};
    const fs::path lockFile = test::BuildDir() / "tb-readers-npm.lock";
    const int fd = ::open(lockFile.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0644);
    if (fd < 0) return "cannot create " + lockFile.string();
    ::flock(fd, LOCK_EX);
    std::string reason;
    if (!fs::exists(marker)) {
        if (FindProgram("npm").empty()) {
            reason = "npm is not installed";
        } else {
            const Output o = Run("npm", {"ci", "--prefix", dir.string(), "--no-audit", "--no-fund"},
                                 InheritedEnvironment());
            if (o.exitCode != 0 || !fs::exists(marker))
                reason = "npm ci --prefix tests/readers failed: " + o.err.substr(0, 2000);
        }
    }
    ::flock(fd, LOCK_UN);
    ::close(fd);
    return reason;
}

std::string TypeText(const json& c) {
    std::string type = c.at("type").get<std::string>();
    if (type == "text") type += "(" + std::to_string(c.at("size").get<int>() / 2) + ")";
    if (type == "numeric")
        type += "(" + std::to_string(c.at("precision").get<int>()) + "," +
                std::to_string(c.at("scale").get<int>()) + ")";
    if (c.at("autoLong").get<bool>()) type += " counter";
    return type;
}

Cell CellOf(const json& v, const std::string& type) {
    if (v.is_null()) return std::nullopt;
    if (v.is_boolean()) return v.get<bool>() ? "1" : "0";
    if (v.is_string()) {
        const auto s = v.get<std::string>();
        return type == "float" || type == "double" ? Shortest(s) : s;
    }
    return v.dump();
}

}  // namespace

std::string Unavailable() {
    static std::once_flag once;
    static std::string reason;
    std::call_once(once, [] { reason = Install(); });
    return reason;
}

std::vector<OutsideTable> ReadAll(const fs::path& file, bool system) {
    if (const std::string why = Unavailable(); !why.empty()) throw std::runtime_error(why);
    test::TempDir dir;
    const fs::path out = dir / "dump.json";
    std::vector<std::string> args = {(ReadersDir() / "dump_mdb.mjs").string(), file.string(),
                                     out.string()};
    if (system) args.push_back("--system");
    const Output o = Run("node", args, ToolEnvironment());
    if (o.exitCode != 0)
        throw std::runtime_error("node dump_mdb.mjs " + file.string() + " failed: " + o.err);
    const json doc = json::parse(test::ReadFile(out));
    std::vector<OutsideTable> tables;
    for (const auto& t : doc.at("tables")) {
        OutsideTable table;
        table.name = t.at("name").get<std::string>();
        table.declaredRows = t.at("rowCount").get<std::int64_t>();
        if (t.contains("error")) {
            table.error = t.at("error").get<std::string>();
            tables.push_back(std::move(table));
            continue;
        }
        std::vector<std::string> types;
        for (const auto& c : t.at("columns")) {
            table.columns.push_back({c.at("name").get<std::string>(), TypeText(c)});
            types.push_back(c.at("type").get<std::string>());
        }
        for (const auto& r : t.at("rows")) {
            auto& row = table.rows.emplace_back();
            for (std::size_t i = 0; i < r.size(); ++i) row.push_back(CellOf(r[i], types.at(i)));
        }
        tables.push_back(std::move(table));
    }
    return tables;
}

std::vector<std::string> LinkedTables(const fs::path& file) {
    if (const std::string why = Unavailable(); !why.empty()) throw std::runtime_error(why);
    test::TempDir dir;
    const fs::path out = dir / "linked.json";
    const Output o = Run(
        "node", {(ReadersDir() / "dump_mdb.mjs").string(), file.string(), out.string(), "--linked"},
        ToolEnvironment());
    if (o.exitCode != 0)
        throw std::runtime_error("node dump_mdb.mjs " + file.string() + " failed: " + o.err);
    return json::parse(test::ReadFile(out)).at("linked").get<std::vector<std::string>>();
}

}  // namespace mdbreader

// --- expectations ------------------------------------------------------------------------------

Expected ExpectedText(Reader reader, const mdb::Column& column, const mdb::Value& value) {
    const bool tools = reader == Reader::MdbTools;
    struct Visitor {
        bool tools;
        const mdb::Column& column;
        Expected operator()(mdb::Null) const { return {true, std::nullopt}; }
        Expected operator()(bool b) const { return {true, b ? "1" : "0"}; }
        Expected operator()(std::int64_t i) const { return {true, std::to_string(i)}; }
        Expected operator()(double d) const {
            if (!tools) return {true, DoubleText(d)};
            // mdbtools prints "%.8g" and "%.16g"
            const int digits = column.type == JetType::Single ? 8 : 16;
            return {true, DoubleText(d, std::chars_format::general, digits)};
        }
        Expected operator()(mdb::Currency c) const { return {true, CurrencyText(c.scaled)}; }
        Expected operator()(mdb::DateTime d) const {
            if (!tools) return {true, MdbReaderDate(d.days)};
            // libmdb leaves days before 1899-12-30 and after about 4637 unconverted
            if (!(d.days >= 0 && d.days <= 1e6)) return {false, std::nullopt};
            return {true, MdbToolsDate(d.days)};
        }
        Expected operator()(const std::string& s) const {
            if (tools && s.empty()) return {true, std::nullopt};  // mdbtools prints '' as Null
            if (tools && s.size() >= 200000) return {false, std::nullopt};  // its bind buffer
            return {true, tools ? WithoutSurrogatePairs(s) : s};
        }
        Expected operator()(const mdb::Bytes& b) const {
            std::size_t n = b.size();
            // libmdb passes Binary (not OLE) values through a C string: they end at a 00 byte
            if (tools && column.type == JetType::Binary)
                for (std::size_t i = 0; i < b.size(); ++i)
                    if (b[i] == 0) {
                        n = i;
                        break;
                    }
            // mdbtools prints an empty OLE object (a long-value header of length 0) as "", an
            // empty Binary as Null
            if (tools && n == 0) return {true, column.type == JetType::OLE ? Cell("") : Cell()};
            return {true, Hex(b.data(), n)};
        }
        Expected operator()(const mdb::Guid& g) const {
            // mdb-export hex-dumps the text "{...}" it formats; mdb-reader gives lower case
            return {true, tools ? Hex(GuidText(g, true)) : Lower(GuidText(g, false))};
        }
    };
    return std::visit(Visitor{tools, column}, value);
}

std::string ExpectedType(Reader reader, const mdb::Column& column, int precision, int scale) {
    const bool tools = reader == Reader::MdbTools;
    switch (column.type) {
        case JetType::Boolean:
            return tools ? "Boolean" : "boolean";
        case JetType::Byte:
            return tools ? "Byte" : "byte";
        case JetType::Integer:
            return tools ? "Integer" : "integer";
        case JetType::Long:
            return tools ? "Long Integer" : column.autoNumber ? "long counter" : "long";
        case JetType::Currency:
            return tools ? "Currency" : "currency";
        case JetType::Single:
            return tools ? "Single" : "float";
        case JetType::Double:
            return tools ? "Double" : "double";
        case JetType::DateTime:
            return tools ? "DateTime" : "datetime";
        case JetType::Binary:
            return tools ? "Binary" : "binary";
        case JetType::Text:
            return (tools ? "Text (" : "text(") + std::to_string(column.length) + ")";
        case JetType::OLE:
            return tools ? "OLE (255)" : "ole";
        case JetType::Memo:
            return tools ? "Memo/Hyperlink (255)" : "memo";
        case JetType::GUID:
            return tools ? "Replication ID" : "repid";
        case JetType::Numeric:
            return (tools ? "Numeric (" : "numeric(") + std::to_string(precision) +
                   (tools ? ", " : ",") + std::to_string(scale) + ")";
    }
    return "?";
}

OurTable ReadOurs(const fs::path& file, const std::string& table) {
    mdb::MdbReader reader(file);
    OurTable t;
    t.def = reader.Table(table);
    for (const auto& c : t.def.columns)
        t.numeric.push_back(reader.NumericPrecisionScale(table, c.name));
    t.declaredRows = reader.DeclaredRowCount(table);
    reader.ForEachRow(table, [&](const mdb::Row& r) { t.rows.push_back(r); });
    return t;
}

std::vector<std::string> Differences(Reader reader, const OurTable& ours,
                                     const OutsideTable& theirs, std::size_t limit) {
    std::vector<std::string> out;
    const std::string who = std::string(ReaderName(reader)) + " " + theirs.name + ": ";
    auto add = [&](std::string line) {
        if (out.size() < limit) out.push_back(who + std::move(line));
    };
    auto show = [](const Cell& c) { return c ? "\"" + c->substr(0, 200) + "\"" : "Null"; };
    if (!theirs.error.empty()) {
        add("cannot read: " + theirs.error);
        return out;
    }
    const auto& cols = ours.def.columns;
    if (theirs.columns.size() != cols.size())
        add(std::to_string(theirs.columns.size()) + " columns, ours " +
            std::to_string(cols.size()));
    for (std::size_t i = 0; i < std::min(cols.size(), theirs.columns.size()); ++i) {
        const auto want =
            ExpectedType(reader, cols[i], ours.numeric[i].first, ours.numeric[i].second);
        if (theirs.columns[i].name != cols[i].name || theirs.columns[i].type != want)
            add("column " + std::to_string(i) + " is " + theirs.columns[i].name + " " +
                theirs.columns[i].type + ", ours " + cols[i].name + " " + want);
    }
    if (theirs.declaredRows >= 0 && theirs.declaredRows != ours.declaredRows)
        add("declared row count " + std::to_string(theirs.declaredRows) + ", ours " +
            std::to_string(ours.declaredRows));
    if (theirs.rows.size() != ours.rows.size())
        add(std::to_string(theirs.rows.size()) + " rows, ours " + std::to_string(ours.rows.size()));
    for (std::size_t r = 0; r < std::min(theirs.rows.size(), ours.rows.size()); ++r) {
        const auto& row = theirs.rows[r];
        if (row.size() != cols.size()) {
            add("row " + std::to_string(r) + " has " + std::to_string(row.size()) + " values");
            continue;
        }
        for (std::size_t i = 0; i < cols.size(); ++i) {
            const Expected e = ExpectedText(reader, cols[i], ours.rows[r][i]);
            if (e.compare && e.text != row[i])
                add("row " + std::to_string(r) + " " + cols[i].name + " is " + show(row[i]) +
                    ", expected " + show(e.text));
        }
    }
    return out;
}

}  // namespace tb::readers
