#include "mdb/table_layout.h"

#include <algorithm>

#include "common/encoding.h"
#include "common/error.h"
#include "mdb/jet_text.h"

namespace tb::mdb::jet {

namespace {

// Bytes of a fixed column in the row; -1 for variable columns.
int FixedSize(JetType type) {
    const JetTypeFacts& f = JetFacts(type);
    return f.fixed ? f.size : -1;
}

std::string Quoted(const std::string& s) {
    return "\"" + s + "\"";
}

}  // namespace

ByteVec NameKey(const std::string& name) {
    std::u16string units;
    Utf8ToUtf16Checked(name, units);
    ByteVec key;
    if (AppendTextKey(units, key)) return key;
    // Beyond Latin-1 the sort table is not known; compare ignoring ASCII case only.
    key.assign(1, 0xFF);
    for (char16_t c : units) {
        if (c < 0x80) c = static_cast<char16_t>(std::tolower(static_cast<int>(c)));
        Append16(key, c);
    }
    return key;
}

void CheckObjectName(const std::string& name, const std::string& what) {
    std::u16string units;
    if (!Utf8ToUtf16Checked(name, units)) Raise("The name of " + what + " is not valid UTF-8.");
    if (units.empty()) Raise("The name of " + what + " is empty.");
    if (units.size() > kMaxNameChars) {
        Raise("The name of " + what + " has " + std::to_string(units.size()) +
              " characters; Access allows at most 64.");
    }
    if (units.front() == u' ')
        Raise("The name of " + what + " starts with a blank, which Access does not allow.");
    for (char16_t c : units) {
        if (c < 0x20)
            Raise("The name of " + what +
                  " holds a control character, which Access does not allow.");
        if (c == u'.' || c == u'!' || c == u'`' || c == u'[' || c == u']') {
            Raise("The name of " + what + " holds the character '" +
                  std::string(1, static_cast<char>(c)) + "'; Access names may not hold . ! ` [ ].");
        }
    }
}

TableLayout LayoutTable(const TableDef& def) {
    CheckObjectName(def.name, "table " + Quoted(def.name));
    const std::string table = "table " + Quoted(def.name);
    if (def.columns.empty()) Raise("The " + table + " has no columns.");
    if (def.columns.size() > static_cast<std::size_t>(kMaxColumns)) {
        Raise("The " + table + " has " + std::to_string(def.columns.size()) +
              " columns; Access allows at most 255.");
    }
    TableLayout layout;
    layout.name = def.name;
    std::vector<ByteVec> seen;
    std::uint16_t fixedOffset = 0;
    std::uint16_t varCount = 0;
    for (std::size_t i = 0; i < def.columns.size(); ++i) {
        const Column& col = def.columns[i];
        const std::string what = "column " + Quoted(col.name) + " of " + table;
        CheckObjectName(col.name, what);
        const ByteVec key = NameKey(col.name);
        if (std::find(seen.begin(), seen.end(), key) != seen.end()) {
            Raise("The " + table + " has two columns named " + Quoted(col.name) + ".");
        }
        seen.push_back(key);
        if (col.type == JetType::Numeric) {
            Raise("The " + what + " is of type Decimal, which this writer does not support.");
        }
        if (!JetFacts(col.type).written) Raise("The " + what + " has an unknown type.");
        if (col.autoNumber && col.type != JetType::Long) {
            Raise("The " + what + " is an auto-number but not of type Long.");
        }

        ColumnLayout c;
        c.name = col.name;
        c.type = col.type;
        c.number = static_cast<std::uint16_t>(i);
        c.autoNumber = col.autoNumber;
        const int size = FixedSize(col.type);
        if (size >= 0) {
            c.variable = false;
            c.fixedSize = static_cast<std::uint16_t>(size);
            c.fixedOffset = size == 0 ? 0 : fixedOffset;  // Booleans live in the null mask
            fixedOffset = static_cast<std::uint16_t>(fixedOffset + size);
            c.varIndex = varCount;
        } else {
            c.variable = true;
            c.varIndex = varCount++;
            layout.varOrder.push_back(c.number);
            if (col.type == JetType::Text) {
                if (col.length < 1 || col.length > kMaxTextChars) {
                    Raise("The " + what + " is Text(" + std::to_string(col.length) +
                          "); Text holds 1 to 255 characters, longer text belongs in a Memo.");
                }
                c.maxLength = static_cast<std::uint16_t>(col.length);
                c.compress = true;
            } else if (col.type == JetType::Binary) {
                c.maxLength = static_cast<std::uint16_t>(
                    col.length >= 1 && col.length <= 255 ? col.length : 255);
            } else {
                c.longValueSlot = layout.longValueColumns++;
                c.compress = col.type == JetType::Memo;
            }
        }
        layout.columns.push_back(c);
    }
    layout.fixedSize = fixedOffset;
    return layout;
}

std::vector<TdefColumn> DefinitionColumns(const TableLayout& layout) {
    std::vector<TdefColumn> out;
    for (const ColumnLayout& c : layout.columns) {
        TdefColumn t;
        t.type = static_cast<std::uint8_t>(c.type);
        t.number = c.number;
        t.varIndex = c.varIndex;
        t.position = c.number;
        t.flags = static_cast<std::uint8_t>((c.variable ? 0 : kColFixed) | kColUpdatable |
                                            (c.autoNumber ? kColAutoLong : 0));
        t.extFlags = c.compress ? kColExtCompressedUnicode : 0;
        t.fixedOffset = c.variable ? 0 : c.fixedOffset;
        switch (c.type) {
            case JetType::Boolean:
                t.length = 1;
                break;
            case JetType::Text:
                t.length = static_cast<std::uint16_t>(2 * c.maxLength);
                break;
            case JetType::Binary:
                t.length = c.maxLength;
                break;
            case JetType::Memo:
            case JetType::OLE:
                t.length = 0;
                break;
            default:
                t.length = c.fixedSize;
                break;
        }
        Utf8ToUtf16Checked(c.name, t.name);
        out.push_back(std::move(t));
    }
    return out;
}

TableLayout LayoutFromDefinition(const std::string& name, const std::vector<TdefColumn>& columns) {
    TableLayout layout;
    layout.name = name;
    layout.columns.resize(columns.size());
    for (const TdefColumn& t : columns) {
        ColumnLayout& c = layout.columns.at(t.number);
        c.name = std::string(t.name.begin(), t.name.end());  // system names are ASCII
        c.type = static_cast<JetType>(t.type);
        c.number = t.number;
        c.variable = (t.flags & kColFixed) == 0;
        c.compress = (t.extFlags & kColExtCompressedUnicode) != 0;
        c.varIndex = t.varIndex;
        if (c.variable) {
            c.maxLength =
                static_cast<std::uint16_t>(c.type == JetType::Text ? t.length / 2 : t.length);
        } else {
            c.fixedOffset = c.type == JetType::Boolean ? 0 : t.fixedOffset;
            c.fixedSize = static_cast<std::uint16_t>(FixedSize(c.type));
            layout.fixedSize = std::max<std::uint16_t>(
                layout.fixedSize, static_cast<std::uint16_t>(c.fixedOffset + c.fixedSize));
        }
    }
    std::vector<std::pair<std::uint16_t, std::uint16_t>> vars;
    for (const ColumnLayout& c : layout.columns) {
        if (c.variable) vars.emplace_back(c.varIndex, c.number);
        if (c.type == JetType::Memo || c.type == JetType::OLE) {
            layout.columns[c.number].longValueSlot = layout.longValueColumns++;
        }
    }
    std::sort(vars.begin(), vars.end());
    for (const auto& v : vars) layout.varOrder.push_back(v.second);
    return layout;
}

}  // namespace tb::mdb::jet
