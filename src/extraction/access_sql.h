#pragma once
// Turns a user's Access SQL statement (section "SQL" of the attribute file) into SQLite text with
// the same meaning in the store: "&" becomes jcat(), double-quoted and #date# literals become
// text literals, DISTINCTROW becomes DISTINCT, and "UPDATE a, b SET a.x=..." or
// "UPDATE a INNER JOIN b ON c SET ..." become SQLite's UPDATE ... FROM. iif, lcase, ucase, len,
// left, right, mid, nz and [bracketed names] need no change: the store understands them.
// A statement that still fails in the store is the caller's to log.

#include <string>
#include <string_view>

namespace tb::extraction {

std::string TranslateAccessSql(std::string_view accessSql);

}  // namespace tb::extraction
