#pragma once
// The SQL dialects of a plant: Oracle, SQL Server, an Access copy of a plant, and the embedded
// sample plant in SQLite files. The SQLite plant speaks the Oracle texts (IsOracle answers true for
// it) with two exceptions: it has no ALTER SESSION, and it ends a first-row query with LIMIT 1
// where Oracle adds ROWNUM < 2.

#include <string>
#include <string_view>

namespace tb::plantaccess {

enum class Dialect { Oracle, SqlServer, AccessCopy, Sqlite };

// The site ini's DBTYPE: "ORACLE" in any case is Oracle, "SQLITE" in any case the embedded plant,
// anything else (blank included) SQL Server.
Dialect DialectOfDbType(std::string_view dbType);
// True for the dialects that use the Oracle texts.
bool UsesOracleTexts(Dialect dialect);
std::string_view DialectName(Dialect dialect);

// A plant table's name as plant SQL writes it: the table alone where the session's schema resolves
// names (Oracle, the SQLite plant, a plant copy), the prefix ("<schema user>.") and the table on
// SQL Server. The one-argument form uses the current session's dialect.
std::string GetFullTableName(Dialect dialect, std::string_view prefix, std::string_view table);
std::string GetFullTableName(std::string_view prefix, std::string_view table);

// Whether a table or column name stands unquoted in the dialect's SQL: an ASCII letter first (or
// "_" outside Oracle), then letters, digits, "_" and "$", and "#" on Oracle and SQL Server.
bool IsPlainName(Dialect dialect, std::string_view name);
// A table or column name (or an alias) as the dialect's SQL writes it. A plain name stays as it
// is, so the statements keep their text and Oracle its upper-casing of unquoted names. Any other
// is quoted: "[name]" with "]" doubled on SQL Server, "\"name\"" with '"' doubled on Oracle, the
// SQLite plant and a plant copy. A quoted name is case-sensitive on Oracle: pass the spelling the
// plant's catalogue returned.
std::string SqlName(Dialect dialect, std::string_view name);

// "Org_" + name: the column of the values as extracted.
std::string OrgColumnName(std::string_view name);

// "ALTER SESSION SET CURRENT_SCHEMA=" + schema user (quoted when no plain name); run on Oracle
// only (see NeedsAlterSession).
std::string AlterSessionSql(std::string_view schemaUser);
bool NeedsAlterSession(Dialect dialect);

// The pieces of a quick existence query ("at most one row"): " TOP 1 " behind SELECT on SQL
// Server, " <conjunction> ROWNUM <2" inside the WHERE on Oracle, " LIMIT 1" at the very end on the
// SQLite plant. Each is empty in the other dialects, so a statement can carry all three.
std::string_view TopOne(Dialect dialect);
std::string RowNumBelow2(Dialect dialect, std::string_view conjunction = "and");
std::string_view LimitOne(Dialect dialect);

}  // namespace tb::plantaccess
