#pragma once
// The Access meaning on SQLite connections: the case-insensitive text collation, the functions the
// run's statements call, and Jet's LIKE. Plant connections register the functions too, so the
// Oracle texts that use concat, instr and lcase run on the embedded plant.

#include <sqlite3.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tb::store {

// Every text column of every store table is declared "TEXT COLLATE JETNOCASE".
inline constexpr std::string_view kTextCollation = "JETNOCASE";

// jcat (Access &), lcase, ucase, len, left, right, mid, nz, jround, concat and the three- and
// four-argument instr of Oracle. For every connection, store or plant. LEFT and RIGHT are join
// keywords to SQLite, so statements call those two quoted: "left"(x, 3), "right"(x, 3).
void RegisterFunctions(sqlite3* db);
// The collation; needed by any connection that reads or writes store tables (an attached store).
void RegisterCollation(sqlite3* db);
// LIKE as Jet's ANSI-92 LIKE, ignoring case for all of Unicode (see LikeMatch). Store connections
// only: a plant stands in for Oracle, whose LIKE does not ignore case.
void RegisterAccessLike(sqlite3* db);
// All of the above: what a store connection gets.
void RegisterStoreSql(sqlite3* db);

// Code texts by list and code, for tb_decode(list, value): the text of the value's code (its text
// as jcat makes it) in the list, Null where that text is Null, the value itself where the list has
// no such code; an empty blob stays. Lists and codes compare exactly: the caller folds them.
struct CodeTexts {
    std::unordered_map<std::string, std::unordered_map<std::string, std::optional<std::string>>>
        lists;
};
// Makes tb_decode read `texts`; without texts, tb_decode is gone.
void RegisterDecode(sqlite3* db, std::shared_ptr<const CodeTexts> texts);

}  // namespace tb::store
