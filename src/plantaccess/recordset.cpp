#include "plantaccess/recordset.h"

#include <charconv>

#include "common/error.h"
#include "common/text.h"
#include "store/access_text.h"

namespace tb::plantaccess {

namespace {

enum class Op { Eq, Ne, Lt, Gt, Le, Ge, Like };

struct Clause {
    int field = 0;
    Op op = Op::Eq;
    bool text = true;
    std::string literal;
    double number = 0;
};

[[noreturn]] void BadFilter(std::string_view criteria, std::string_view why) {
    throw Error(kErrBadArguments,
                "The filter \"" + std::string(criteria) + "\" cannot be used: " + std::string(why));
}

class FilterParser {
  public:
    FilterParser(std::string_view criteria, const Recordset& rs) : s_(criteria), rs_(rs) {}

    std::vector<std::vector<Clause>> Parse() {
        std::vector<std::vector<Clause>> groups(1);
        for (;;) {
            groups.back().push_back(ParseClause());
            Skip();
            if (AtEnd()) break;
            if (Keyword("AND")) continue;
            if (Keyword("OR")) {
                groups.emplace_back();
                continue;
            }
            BadFilter(s_, "unexpected text at \"" + std::string(s_.substr(i_)) + "\"");
        }
        return groups;
    }

  private:
    void Skip() {
        while (i_ < s_.size() && (s_[i_] == ' ' || s_[i_] == '\t')) ++i_;
    }
    bool AtEnd() const { return i_ >= s_.size(); }
    bool Keyword(std::string_view word) {
        if (s_.size() - i_ < word.size() + 1 || !IEquals(s_.substr(i_, word.size()), word))
            return false;
        const char after = s_[i_ + word.size()];
        if (after != ' ' && after != '\t' && after != '(') return false;
        i_ += word.size();
        return true;
    }

    Clause ParseClause() {
        Skip();
        std::string name;
        if (!AtEnd() && s_[i_] == '[') {
            const auto close = s_.find(']', i_);
            if (close == std::string_view::npos) BadFilter(s_, "a [ without ]");
            name = s_.substr(i_ + 1, close - i_ - 1);
            i_ = close + 1;
        } else {
            while (!AtEnd() && s_[i_] != ' ' && s_[i_] != '=' && s_[i_] != '<' && s_[i_] != '>' &&
                   s_[i_] != '\t')
                name += s_[i_++];
        }
        if (name.empty()) BadFilter(s_, "a field name is missing");
        Clause c;
        const auto field = rs_.FindField(name);
        if (!field) BadFilter(s_, "there is no field \"" + name + "\"");
        c.field = *field;
        Skip();
        if (Keyword("LIKE"))
            c.op = Op::Like;
        else if (s_.substr(i_, 2) == "<>")
            c.op = Op::Ne, i_ += 2;
        else if (s_.substr(i_, 2) == "<=")
            c.op = Op::Le, i_ += 2;
        else if (s_.substr(i_, 2) == ">=")
            c.op = Op::Ge, i_ += 2;
        else if (s_.substr(i_, 1) == "=")
            c.op = Op::Eq, i_ += 1;
        else if (s_.substr(i_, 1) == "<")
            c.op = Op::Lt, i_ += 1;
        else if (s_.substr(i_, 1) == ">")
            c.op = Op::Gt, i_ += 1;
        else
            BadFilter(s_, "an operator is missing after \"" + name + "\"");
        Skip();
        if (!AtEnd() && s_[i_] == '\'') {
            ++i_;
            for (;;) {
                if (AtEnd()) BadFilter(s_, "a quote is not closed");
                if (s_[i_] == '\'') {
                    if (i_ + 1 < s_.size() && s_[i_ + 1] == '\'') {
                        c.literal += '\'';
                        i_ += 2;
                        continue;
                    }
                    ++i_;
                    break;
                }
                c.literal += s_[i_++];
            }
            if (c.op == Op::Like) c.literal = ReplaceAll(c.literal, "*", "%");
        } else {
            const std::size_t start = i_;
            while (!AtEnd() && s_[i_] != ' ' && s_[i_] != '\t') ++i_;
            const std::string_view t = s_.substr(start, i_ - start);
            const auto [p, ec] = std::from_chars(t.data(), t.data() + t.size(), c.number);
            if (t.empty() || ec != std::errc() || p != t.data() + t.size())
                BadFilter(s_, "\"" + std::string(t) + "\" is neither a quoted text nor a number");
            c.text = false;
            if (c.op == Op::Like) BadFilter(s_, "LIKE needs a quoted pattern");
        }
        return c;
    }

    std::string_view s_;
    const Recordset& rs_;
    std::size_t i_ = 0;
};

bool Holds(const Clause& c, const store::Value& v) {
    if (v.isNull()) return false;
    int cmp = 0;
    if (c.op == Op::Like) return store::LikeMatch(c.literal, v.ToText());
    if (c.text) {
        cmp = store::CompareIgnoringCase(v.ToText(), c.literal);
    } else {
        double d = 0;
        try {
            d = v.ToDouble();
        } catch (const Error&) {
            return false;
        }
        cmp = d < c.number ? -1 : (d > c.number ? 1 : 0);
    }
    switch (c.op) {
        case Op::Eq:
            return cmp == 0;
        case Op::Ne:
            return cmp != 0;
        case Op::Lt:
            return cmp < 0;
        case Op::Gt:
            return cmp > 0;
        case Op::Le:
            return cmp <= 0;
        case Op::Ge:
            return cmp >= 0;
        case Op::Like:
            break;
    }
    return false;
}

// The visible rows of a recordset as a cursor.
class RecordsetCursor : public RowCursor {
  public:
    RecordsetCursor(const std::vector<FieldInfo>& fields, const std::vector<store::Row>& rows,
                    const std::vector<std::size_t>& visible)
        : fields_(fields), rows_(rows), visible_(visible) {}
    const std::vector<FieldInfo>& Fields() const override { return fields_; }
    bool Next() override {
        if (started_) ++at_;
        started_ = true;
        return at_ < visible_.size();
    }
    Cell Get(int column) const override {
        const store::Value& v = rows_[visible_[at_]][static_cast<std::size_t>(column)];
        Cell cell;
        if (v.isInteger())
            cell.kind = CellKind::Integer, cell.integer = v.integer();
        else if (v.isReal())
            cell.kind = CellKind::Real, cell.real = v.real();
        else if (v.isText())
            cell.kind = CellKind::Text, cell.bytes = v.text();
        else if (v.isBlob())
            cell.kind = CellKind::Blob,
            cell.bytes =
                std::string_view(reinterpret_cast<const char*>(v.blob().data()), v.blob().size());
        return cell;
    }

  private:
    const std::vector<FieldInfo>& fields_;
    const std::vector<store::Row>& rows_;
    const std::vector<std::size_t>& visible_;
    std::size_t at_ = 0;
    bool started_ = false;
};

}  // namespace

Recordset::Recordset(std::vector<FieldInfo> fields, std::vector<store::Row> rows)
    : fields_(std::move(fields)), rows_(std::move(rows)), open_(true) {
    visible_.resize(rows_.size());
    for (std::size_t i = 0; i < rows_.size(); ++i) visible_[i] = i;
}

std::unique_ptr<Recordset> Recordset::Read(RowCursor& cursor) {
    std::vector<FieldInfo> fields = cursor.Fields();
    std::vector<store::Row> rows;
    const int n = static_cast<int>(fields.size());
    while (cursor.Next()) {
        store::Row row;
        row.reserve(fields.size());
        for (int i = 0; i < n; ++i) row.push_back(ToValue(cursor.Get(i)));
        rows.push_back(std::move(row));
    }
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].type != ado::kEmpty) continue;
        bool text = false, real = false, integer = false, blob = false;
        for (const store::Row& r : rows) {
            text |= r[i].isText();
            real |= r[i].isReal();
            integer |= r[i].isInteger();
            blob |= r[i].isBlob();
        }
        fields[i].type = text      ? ado::kVarWChar
                         : blob    ? ado::kLongVarBinary
                         : real    ? ado::kDouble
                         : integer ? ado::kInteger
                                   : ado::kVarWChar;
    }
    return std::make_unique<Recordset>(std::move(fields), std::move(rows));
}

void Recordset::Close() {
    open_ = false;
    rows_.clear();
    visible_.clear();
    pos_ = 0;
}

void Recordset::RequireOpen() const {
    if (!open_) throw Error(3704, "Operation is not allowed when the object is closed.");
}

std::optional<int> Recordset::FindField(std::string_view name) const {
    for (std::size_t i = 0; i < fields_.size(); ++i)
        if (IEquals(fields_[i].name, name)) return static_cast<int>(i);
    return std::nullopt;
}

void Recordset::MoveFirst() {
    pos_ = 0;
    before_ = false;
}

void Recordset::MoveNext() {
    RequireOpen();
    if (Eof())
        throw Error(kErrNoCurrentRecord,
                    "Either BOF or EOF is True, or the current record has been deleted.");
    if (before_)
        before_ = false;
    else
        ++pos_;
}

void Recordset::MovePrevious() {
    RequireOpen();
    if (pos_ == 0)
        before_ = true;
    else
        --pos_;
}

void Recordset::MoveLast() {
    pos_ = visible_.empty() ? 0 : visible_.size() - 1;
    before_ = false;
}

const store::Row& Recordset::CurrentRow() const {
    RequireOpen();
    if (Eof() || before_)
        throw Error(kErrNoCurrentRecord,
                    "Either BOF or EOF is True, or the current record has been deleted. Requested "
                    "operation requires a current record.");
    return rows_[visible_[pos_]];
}

const store::Value& Recordset::Field(std::string_view name) const {
    const auto i = FindField(name);
    if (!i)
        throw Error(kErrItemNotFound,
                    "Item cannot be found in the collection corresponding to the "
                    "requested name or ordinal: " +
                        std::string(name));
    return CurrentRow()[static_cast<std::size_t>(*i)];
}

const store::Value& Recordset::Field(int index) const {
    if (index < 0 || static_cast<std::size_t>(index) >= fields_.size())
        throw Error(kErrItemNotFound,
                    "Item cannot be found in the collection corresponding to the "
                    "requested name or ordinal: " +
                        std::to_string(index));
    return CurrentRow()[static_cast<std::size_t>(index)];
}

void Recordset::Filter(std::string_view criteria) {
    RequireOpen();
    const std::string_view trimmed = TrimSpace(criteria);
    visible_.clear();
    if (trimmed.empty()) {
        for (std::size_t i = 0; i < rows_.size(); ++i) visible_.push_back(i);
    } else {
        const auto groups = FilterParser(trimmed, *this).Parse();
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            for (const auto& group : groups) {
                bool all = true;
                for (const Clause& c : group)
                    if (!Holds(c, rows_[i][static_cast<std::size_t>(c.field)])) {
                        all = false;
                        break;
                    }
                if (all) {
                    visible_.push_back(i);
                    break;
                }
            }
        }
    }
    filter_ = std::string(trimmed);
    MoveFirst();
}

std::unique_ptr<RowCursor> Recordset::Cursor() const {
    RequireOpen();
    return std::make_unique<RecordsetCursor>(fields_, rows_, visible_);
}

std::string GetDBvalue(const store::Value& value) {
    return value.ToText();
}

}  // namespace tb::plantaccess
