#include "plantaccess/dialect.h"

#include "common/text.h"
#include "plantaccess/session.h"

namespace tb::plantaccess {

Dialect DialectOfDbType(std::string_view dbType) {
    if (IEquals(dbType, "ORACLE")) return Dialect::Oracle;
    if (IEquals(dbType, "SQLITE")) return Dialect::Sqlite;
    return Dialect::SqlServer;
}

bool UsesOracleTexts(Dialect dialect) {
    return dialect == Dialect::Oracle || dialect == Dialect::Sqlite;
}

std::string_view DialectName(Dialect dialect) {
    switch (dialect) {
        case Dialect::Oracle:
            return "Oracle";
        case Dialect::SqlServer:
            return "SqlServer";
        case Dialect::AccessCopy:
            return "AccessCopy";
        case Dialect::Sqlite:
            return "Sqlite";
    }
    return "SqlServer";
}

std::string GetFullTableName(Dialect dialect, std::string_view prefix, std::string_view table) {
    if (dialect == Dialect::SqlServer) return std::string(prefix) + std::string(table);
    return std::string(table);
}

std::string GetFullTableName(std::string_view prefix, std::string_view table) {
    return GetFullTableName(CurrentDialect(), prefix, table);
}

bool IsPlainName(Dialect dialect, std::string_view name) {
    if (name.empty()) return false;
    auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
    if (!letter(name[0]) && !(name[0] == '_' && dialect != Dialect::Oracle)) return false;
    const bool hash = dialect == Dialect::Oracle || dialect == Dialect::SqlServer;
    for (char c : name.substr(1)) {
        const bool digit = c >= '0' && c <= '9';
        if (!letter(c) && !digit && c != '_' && c != '$' && !(c == '#' && hash)) return false;
    }
    return true;
}

std::string SqlName(Dialect dialect, std::string_view name) {
    if (IsPlainName(dialect, name)) return std::string(name);
    if (dialect == Dialect::SqlServer) return QuoteIdentifier(name, '[', ']');
    return QuoteIdentifier(name, '"', '"');
}

std::string OrgColumnName(std::string_view name) {
    return "Org_" + std::string(name);
}

std::string AlterSessionSql(std::string_view schemaUser) {
    return "ALTER SESSION SET CURRENT_SCHEMA=" + SqlName(Dialect::Oracle, schemaUser);
}

bool NeedsAlterSession(Dialect dialect) {
    return dialect == Dialect::Oracle;
}

std::string_view TopOne(Dialect dialect) {
    return dialect == Dialect::SqlServer ? " TOP 1 " : "";
}

std::string RowNumBelow2(Dialect dialect, std::string_view conjunction) {
    if (dialect != Dialect::Oracle) return {};
    return " " + std::string(conjunction) + " ROWNUM <2";
}

std::string_view LimitOne(Dialect dialect) {
    return dialect == Dialect::Sqlite ? " LIMIT 1" : "";
}

}  // namespace tb::plantaccess
