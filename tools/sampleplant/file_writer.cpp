#include "file_writer.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "common/error.h"

namespace tb::sampleplant {

struct RowBuilder::Table {
    TableDef def;
    std::unique_ptr<Stmt> insert;
    // Per column: the indices a code-listed column may hold (disabled entries included).
    std::vector<std::unordered_set<int>> codes;
    std::int64_t rows = 0;
    bool building = false;
};

namespace {

bool IsHexId(std::string_view text) {
    if (text.size() != 32) return false;
    for (char c : text) {
        if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) return false;
    }
    return true;
}

bool IsTimestamp(std::string_view text) {
    static const std::string_view kShape = "dddd-dd-dd dd:dd:dd";
    if (text.size() != kShape.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (kShape[i] == 'd' ? !digit : text[i] != kShape[i]) return false;
    }
    return true;
}

[[noreturn]] void BadValue(const TableDef& table, std::string_view column, std::string_view why) {
    throw Error(kErrInternal,
                "Table " + table.name + ", column " + std::string(column) + ": " + std::string(why),
                "RowBuilder");
}

}  // namespace

RowBuilder::RowBuilder(Table* table)
    : table_(table), pendingExceptions_(std::uncaught_exceptions()) {
    if (table_->building) BadValue(table_->def, "", "a row is already being built");
    table_->building = true;
}

RowBuilder::RowBuilder(RowBuilder&& other) noexcept
    : table_(other.table_), added_(other.added_), pendingExceptions_(other.pendingExceptions_) {
    other.table_ = nullptr;
}

RowBuilder::~RowBuilder() {
    if (!table_) return;
    table_->building = false;
    if (!added_) {
        table_->insert->Reset();
        if (std::uncaught_exceptions() == pendingExceptions_) {
            // A row built and never added is a bug in the builder: stop loudly.
            std::fprintf(stderr, "row of %s built but never added\n", table_->def.name.c_str());
            std::abort();
        }
    }
}

int RowBuilder::Index(std::string_view column, Ty expected1, Ty expected2, Ty expected3) const {
    const auto& columns = table_->def.columns;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (columns[i].name == column) {
            if (columns[i].type != expected1 && columns[i].type != expected2 &&
                columns[i].type != expected3) {
                BadValue(table_->def, column, "value of the wrong type");
            }
            return static_cast<int>(i);
        }
    }
    BadValue(table_->def, column, "no such column");
}

RowBuilder& RowBuilder::operator()(std::string_view column, std::nullptr_t) {
    for (std::size_t i = 0; i < table_->def.columns.size(); ++i) {
        if (table_->def.columns[i].name == column) {
            table_->insert->BindNull(static_cast<int>(i) + 1);
            return *this;
        }
    }
    BadValue(table_->def, column, "no such column");
}

RowBuilder& RowBuilder::operator()(std::string_view column, std::string_view text) {
    if (text.empty()) return (*this)(column, nullptr);
    const int i = Index(column, Ty::Text, Ty::Id, Ty::Date);
    const ColumnDef& def = table_->def.columns[static_cast<std::size_t>(i)];
    if (def.type == Ty::Date && !IsTimestamp(text)) {
        BadValue(table_->def, column, "'" + std::string(text) + "' is not yyyy-mm-dd hh:mm:ss");
    }
    if (def.type == Ty::Id && !IsHexId(text)) {
        BadValue(table_->def, column, "'" + std::string(text) + "' is not a 32-character id");
    }
    if (def.type == Ty::Text && static_cast<int>(text.size()) > def.width) {
        // Widths count characters; bytes are an upper bound, so count code points.
        int chars = 0;
        for (unsigned char c : text) chars += (c & 0xC0) != 0x80;
        if (chars > def.width) BadValue(table_->def, column, "text longer than the column");
    }
    table_->insert->Bind(i + 1, text);
    return *this;
}

RowBuilder& RowBuilder::operator()(std::string_view column, const char* text) {
    return (*this)(column, std::string_view(text ? text : ""));
}

RowBuilder& RowBuilder::operator()(std::string_view column, const std::string& text) {
    return (*this)(column, std::string_view(text));
}

RowBuilder& RowBuilder::operator()(std::string_view column, int value) {
    return (*this)(column, static_cast<long long>(value));
}

RowBuilder& RowBuilder::operator()(std::string_view column, long value) {
    return (*this)(column, static_cast<long long>(value));
}

RowBuilder& RowBuilder::operator()(std::string_view column, long long value) {
    const int i = Index(column, Ty::Int, Ty::Code, Ty::Code);
    const auto& codes = table_->codes[static_cast<std::size_t>(i)];
    if (table_->def.columns[static_cast<std::size_t>(i)].type == Ty::Code &&
        !codes.count(static_cast<int>(value))) {
        BadValue(table_->def, column, std::to_string(value) + " is not in its code list");
    }
    table_->insert->Bind(i + 1, static_cast<std::int64_t>(value));
    return *this;
}

RowBuilder& RowBuilder::operator()(std::string_view column, double value) {
    table_->insert->Bind(Index(column, Ty::Real, Ty::Real, Ty::Real) + 1, value);
    return *this;
}

RowBuilder& RowBuilder::operator()(std::string_view column, const Blob& bytes) {
    table_->insert->BindBlob(Index(column, Ty::Blob, Ty::Blob, Ty::Blob) + 1, bytes);
    return *this;
}

void RowBuilder::Add() {
    table_->insert->Step();
    table_->insert->Reset();
    ++table_->rows;
    added_ = true;
}

FileWriter::FileWriter(std::filesystem::path target, std::vector<TableDef> tables)
    : target_(std::move(target)) {
    temp_ = target_;
    temp_ += ".tmp";
    std::error_code ec;
    std::filesystem::remove(temp_, ec);
    db_ = std::make_unique<Db>(temp_);
    // Nothing here needs a rollback: a failed file is deleted, never renamed into place.
    db_->Exec("PRAGMA journal_mode=OFF");
    db_->Exec("PRAGMA synchronous=OFF");
    db_->Exec("PRAGMA cache_size=-65536");
    db_->Exec("PRAGMA locking_mode=EXCLUSIVE");
    for (auto& def : tables) db_->Exec(CreateTableSql(def));
    db_->Exec("BEGIN");
    for (auto& def : tables) {
        auto table = std::make_unique<RowBuilder::Table>();
        std::string names;
        std::string marks;
        for (const auto& column : def.columns) {
            names += (names.empty() ? "" : ", ") + column.name;
            marks += marks.empty() ? "?" : ", ?";
            std::unordered_set<int> codes;
            if (column.type == Ty::Code) {
                for (const auto& entry : ListByKey(column.list).entries) codes.insert(entry.index);
            }
            table->codes.push_back(std::move(codes));
        }
        table->insert = std::make_unique<Stmt>(
            *db_, "INSERT INTO " + def.name + " (" + names + ") VALUES (" + marks + ")");
        table->def = std::move(def);
        tables_.push_back(std::move(table));
    }
}

FileWriter::~FileWriter() {
    if (!finished_) {
        for (auto& table : tables_) table->insert.reset();
        db_.reset();
        std::error_code ec;
        std::filesystem::remove(temp_, ec);
    }
}

RowBuilder FileWriter::Row(std::string_view table) {
    for (auto& t : tables_) {
        if (t->def.name == table) return RowBuilder(t.get());
    }
    throw Error(kErrInternal, "No table " + std::string(table) + " in " + target_.string(),
                "FileWriter");
}

void FileWriter::Finish() {
    for (auto& table : tables_) table->insert.reset();
    db_->Exec("COMMIT");
    db_->Exec("BEGIN");
    for (const auto& table : tables_) {
        for (const auto& column : table->def.columns) {
            const std::string& name = column.name;
            if (column.type != Ty::Id) continue;
            const bool key = name == "SP_ID";
            const std::string index = "X_" + table->def.name + "_" + name;
            db_->Exec(std::string(key ? "CREATE UNIQUE INDEX " : "CREATE INDEX ") + index + " ON " +
                      table->def.name + " (" + name + ")");
        }
    }
    db_->Exec("COMMIT");
    db_->Close();
    std::error_code ec;
    std::filesystem::rename(temp_, target_, ec);
    if (ec) {
        throw Error(
            kErrFileAccess,
            "Cannot rename '" + temp_.string() + "' to '" + target_.string() + "': " + ec.message(),
            "FileWriter");
    }
    finished_ = true;
}

std::vector<std::pair<std::string, std::int64_t>> FileWriter::Counts() const {
    std::vector<std::pair<std::string, std::int64_t>> counts;
    for (const auto& table : tables_) counts.emplace_back(table->def.name, table->rows);
    return counts;
}

}  // namespace tb::sampleplant
