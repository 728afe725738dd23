// glib must come before mdbtools.h in C++ (mdbtools.h includes it inside extern "C").
#include "mdb/jet_test_support.h"

#include <fcntl.h>
#include <glib.h>
#include <gtest/gtest.h>
#include <mdbtools.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "mdb/date_time.h"
#include "mdb/structure_checker.h"
#include "support/test_support.h"

namespace tb::mdb::test {

namespace {

fs::path FindTool(const std::string& tool) {
    for (const char* dir : {"/usr/bin", "/usr/local/bin", "/bin"}) {
        fs::path p = fs::path(dir) / tool;
        if (::access(p.c_str(), X_OK) == 0) return p;
    }
    return {};
}

std::string ReadAll(int fd) {
    std::string out;
    char buf[65536];
    for (ssize_t n; (n = ::read(fd, buf, sizeof buf)) > 0;)
        out.append(buf, static_cast<std::size_t>(n));
    return out;
}

}  // namespace

bool HaveMdbTools() {
    return !FindTool("mdb-export").empty();
}

ToolResult RunMdbTool(const std::string& tool, const std::vector<std::string>& args) {
    const fs::path program = FindTool(tool);
    if (program.empty()) throw std::runtime_error(tool + " not found");
    fs::path errFile =
        fs::temp_directory_path() / ("jetw-err-" + std::to_string(::getpid()) + "-" + tool);
    int out[2];
    if (::pipe(out) != 0) throw std::runtime_error("pipe failed");
    std::vector<std::string> argv{program.string()};
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<char*> cargv;
    for (auto& a : argv) cargv.push_back(a.data());
    cargv.push_back(nullptr);
    std::string lang = "LC_ALL=C.UTF-8";
    std::string path = "PATH=/usr/bin:/bin";
    char* envp[] = {lang.data(), path.data(), nullptr};
    const pid_t pid = ::fork();
    if (pid < 0) throw std::runtime_error("fork failed");
    if (pid == 0) {
        ::dup2(out[1], 1);
        const int err = ::open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (err >= 0) ::dup2(err, 2);
        ::close(out[0]);
        ::close(out[1]);
        ::execve(cargv[0], cargv.data(), envp);
        ::_exit(127);
    }
    ::close(out[1]);
    ToolResult result;
    result.out = ReadAll(out[0]);
    ::close(out[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.err = ReadBytes(errFile);
    std::error_code ec;
    fs::remove(errFile, ec);
    return result;
}

std::vector<std::vector<std::string>> ParseCsv(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> row;
    std::string field;
    bool quoted = false;
    bool any = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted) {
            if (c == '"') {
                if (i + 1 < text.size() && text[i + 1] == '"') {
                    field += '"';
                    ++i;
                } else {
                    quoted = false;
                }
            } else {
                field += c;
            }
            continue;
        }
        if (c == '"') {
            quoted = true;
            any = true;
        } else if (c == ',') {
            row.push_back(std::move(field));
            field.clear();
            any = true;
        } else if (c == '\n') {
            row.push_back(std::move(field));
            field.clear();
            rows.push_back(std::move(row));
            row.clear();
            any = false;
        } else if (c != '\r') {
            field += c;
            any = true;
        }
    }
    if (any) {
        row.push_back(std::move(field));
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<std::vector<std::string>> ExportTable(const fs::path& file, const std::string& table) {
    const ToolResult r =
        RunMdbTool("mdb-export", {"-H", "-D", "%Y-%m-%d %H:%M:%S", "-T", "%Y-%m-%d %H:%M:%S", "-b",
                                  "hex", "-0", "<NULL>", file.string(), table});
    if (r.exitCode != 0) throw std::runtime_error("mdb-export failed: " + r.err);
    return ParseCsv(r.out);
}

std::vector<std::vector<bool>> NullFlagsViaLibmdb(const fs::path& file, const std::string& table) {
    std::vector<std::vector<bool>> out;
    std::unique_ptr<MdbHandle, void (*)(MdbHandle*)> db(mdb_open(file.c_str(), MDB_NOFLAGS),
                                                        mdb_close);
    if (!db) throw std::runtime_error("libmdb cannot open " + file.string());
    if (!mdb_read_catalog(db.get(), MDB_TABLE))
        throw std::runtime_error("libmdb cannot read the catalogue");
    std::string name = table;
    std::unique_ptr<MdbTableDef, void (*)(MdbTableDef*)> t(
        mdb_read_table_by_name(db.get(), name.data(), MDB_TABLE), mdb_free_tabledef);
    if (!t) throw std::runtime_error("libmdb cannot find table " + table);
    mdb_read_columns(t.get());
    mdb_rewind_table(t.get());
    std::vector<MdbField> fields(t->num_cols);
    while (mdb_fetch_row(t.get())) {
        int start = 0;
        size_t size = 0;
        if (mdb_find_row(db.get(), static_cast<int>(t->cur_row) - 1, &start, &size) != 0) {
            throw std::runtime_error("libmdb lost the row it fetched");
        }
        const int n = mdb_crack_row(t.get(), start & 0x1FFF, size, fields.data());
        std::vector<bool> flags;
        for (int i = 0; i < n; ++i) flags.push_back(fields[i].is_null != 0);
        out.push_back(std::move(flags));
    }
    return out;
}

WriterOptions FixedOptions() {
    WriterOptions o;
    o.now = [] { return MakeDateTime(2024, 5, 6, 7, 8, 9).days; };
    o.random = [] { return 0x12345678u; };
    return o;
}

void WriteDatabase(const fs::path& target, const std::vector<TableData>& tables,
                   const WriterOptions& options) {
    JetWriter writer(target, options);
    for (const TableData& t : tables) {
        VectorRowSource rows(t.rows);
        writer.AddTable(t.def, rows, t.indexes);
    }
    writer.Commit();
    // Every file the tests write goes through the structure checker.
    const std::string problems = StructureProblems(target);
    if (!problems.empty()) ADD_FAILURE() << "structure of " << target << ":\n" << problems;
    // TB_KEEP_JET_FILES=<folder> keeps a copy of every file the tests write, e.g. to open them
    // in Access (docs/access-check.md).
    if (const char* keep = std::getenv("TB_KEEP_JET_FILES"); keep && *keep) {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name =
            info ? std::string(info->test_suite_name()) + "." + info->name() + "." : "";
        fs::create_directories(keep);
        fs::copy_file(target, fs::path(keep) / (name + target.filename().string()),
                      fs::copy_options::overwrite_existing);
    }
}

std::string ReadBytes(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string StructureProblems(const fs::path& file) {
    std::string text;
    for (const std::string& p : CheckJetStructure(ReadBytes(file))) text += p + "\n";
    return text;
}

}  // namespace tb::mdb::test
