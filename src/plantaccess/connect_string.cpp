#include "plantaccess/connect_string.h"

#include "common/error.h"
#include "common/ini.h"
#include "common/text.h"
#include "platform/platform.h"

namespace tb::plantaccess {

std::string OracleConnectString(std::string_view provider, std::string_view server,
                                std::string_view user, std::string_view password) {
    return "Provider=" + std::string(provider) + ";Data Source=" + std::string(server) +
           ";User Id=" + std::string(user) + ";Password=" + std::string(password) + ";";
}

std::string SqlServerConnectString(std::string_view firstPair, std::string_view server,
                                   std::string_view database, std::string_view user,
                                   std::string_view password) {
    return std::string(firstPair) + ";Server=" + std::string(server) +
           ";Database=" + std::string(database) + ";Uid=" + std::string(user) +
           ";Pwd=" + std::string(password) + ";";
}

std::string AccessConnectString(std::string_view provider, std::string_view path,
                                std::string_view password) {
    return "Provider=" + std::string(provider) + ";Data Source=" + std::string(path) +
           ";Jet OLEDB:Database Password=" + std::string(password) + ";";
}

std::vector<std::pair<std::string, std::string>> ConnectPairs(std::string_view connectString) {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const std::string& piece : Split(connectString, ";")) {
        const auto eq = piece.find('=');
        if (eq == std::string::npos) {
            if (!pairs.empty() && !piece.empty()) pairs.back().second += ";" + piece;
            continue;
        }
        pairs.emplace_back(std::string(TrimSpace(piece.substr(0, eq))), piece.substr(eq + 1));
    }
    return pairs;
}

ConnectParts ParseConnectString(std::string_view connectString) {
    ConnectParts parts;
    if (IStartsWith(connectString, kOdbcPassThrough)) {
        parts.target = ConnectTarget::Odbc;
        parts.odbc = std::string(connectString.substr(kOdbcPassThrough.size()));
        return parts;
    }
    std::string provider, driver;
    for (const auto& [key, value] : ConnectPairs(connectString)) {
        const std::string k = ToLowerAscii(key);
        if (k == "provider")
            provider = TrimSpace(value);
        else if (k == "driver")
            driver = TrimSpace(value);
        else if (k == "data source" || k == "server")
            parts.server = value;
        else if (k == "database" || k == "initial catalog")
            parts.database = value;
        else if (k == "user id" || k == "uid")
            parts.user = value;
        else if (k == "password" || k == "pwd" || k == "jet oledb:database password")
            parts.password = value;
    }
    if (IEquals(provider, kOracleProvider))
        parts.target = ConnectTarget::Oracle;
    else if (IEquals(provider, kMsdaoraProvider))
        parts.target = ConnectTarget::OracleFallback;
    else if (IStartsWith(provider, "SQLNCLI"))
        parts.target = ConnectTarget::SqlServerFallback;
    else if (IEquals(provider, kSqliteProvider))
        parts.target = ConnectTarget::Sqlite;
    else if (IStartsWith(provider, "Microsoft.Jet.OLEDB") ||
             IStartsWith(provider, "Microsoft.ACE.OLEDB"))
        parts.target = ConnectTarget::Access;
    else if (provider.empty() && (IEquals(driver, "{SQL Server}") || IEquals(driver, "SQL Server")))
        parts.target = ConnectTarget::SqlServer;
    return parts;
}

OdbcTemplates DefaultOdbcTemplates() {
    OdbcTemplates t;
    // Oracle's Instant Client ODBC driver, registered under the name "Oracle".
    t.oracle = "Driver={Oracle};Dbq={server};Uid={user};Pwd={password};";
    t.oracleFallback = t.oracle;
    // Microsoft's driver encrypts by default; the fallback, taken after an SSL failure, trusts
    // the server's certificate as the old client did.
    t.sqlServer =
        "Driver={ODBC Driver 18 for SQL Server};Server={server};Database={database};Uid={user};"
        "Pwd={password};";
    t.sqlServerFallback = t.sqlServer + "TrustServerCertificate=yes;";
    return t;
}

OdbcTemplates ReadOdbcTemplates() {
    OdbcTemplates t = DefaultOdbcTemplates();
    const IniDocument ini = IniDocument::Load(platform::ProgramIniFile());
    const auto read = [&](std::string_view key, std::string& into) {
        if (auto v = ini.Get("ODBC", key); v && !TrimSpace(*v).empty()) into = *v;
    };
    read("Oracle", t.oracle);
    read("OracleFallback", t.oracleFallback);
    read("SqlServer", t.sqlServer);
    read("SqlServerFallback", t.sqlServerFallback);
    return t;
}

std::string OdbcValue(std::string_view value) {
    const bool braces = value.find_first_of(";{}") != std::string_view::npos ||
                        (!value.empty() && (value.front() == ' ' || value.back() == ' '));
    if (!braces) return std::string(value);
    return "{" + ReplaceAll(value, "}", "}}") + "}";
}

std::string OdbcConnectString(const ConnectParts& parts, const OdbcTemplates& templates) {
    const std::string* templ = nullptr;
    switch (parts.target) {
        case ConnectTarget::Oracle:
            templ = &templates.oracle;
            break;
        case ConnectTarget::OracleFallback:
            templ = &templates.oracleFallback;
            break;
        case ConnectTarget::SqlServer:
            templ = &templates.sqlServer;
            break;
        case ConnectTarget::SqlServerFallback:
            templ = &templates.sqlServerFallback;
            break;
        case ConnectTarget::Odbc:
            return parts.odbc;
        default:
            throw Error(kErrInternal, "This connection string does not lead to an ODBC driver.");
    }
    // One pass, so that a value holding "{user}" is not filled again.
    std::string out;
    const std::string& t = *templ;
    for (std::size_t i = 0; i < t.size();) {
        const auto slot = [&](std::string_view name) {
            return t.compare(i, name.size(), name) == 0;
        };
        if (slot("{server}"))
            out += OdbcValue(parts.server), i += 8;
        else if (slot("{database}"))
            out += OdbcValue(parts.database), i += 10;
        else if (slot("{user}"))
            out += OdbcValue(parts.user), i += 6;
        else if (slot("{password}"))
            out += OdbcValue(parts.password), i += 10;
        else
            out += t[i++];
    }
    return out;
}

std::string ScrubSecrets(std::string_view text, std::string_view secret) {
    std::string out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        std::size_t keyLength = 0;
        for (std::string_view key : {"password=", "pwd="}) {
            if (text.size() - i >= key.size() && IEquals(text.substr(i, key.size()), key)) {
                keyLength = key.size();
                break;
            }
        }
        if (keyLength == 0) {
            out += text[i++];
            continue;
        }
        out.append(text.substr(i, keyLength));
        i += keyLength;
        if (i < text.size() && text[i] == '{') {
            // A braced value ends at a "}" that is not doubled.
            std::size_t j = i + 1;
            while (j < text.size()) {
                if (text[j] == '}') {
                    if (j + 1 < text.size() && text[j + 1] == '}')
                        j += 2;
                    else
                        break;
                } else
                    ++j;
            }
            i = j < text.size() ? j + 1 : j;
        } else {
            const auto end = text.find_first_of(";\"'\r\n", i);
            i = end == std::string_view::npos ? text.size() : end;
        }
        out += "****";
    }
    if (secret.size() >= 3) out = ReplaceAll(out, secret, "****");
    return out;
}

}  // namespace tb::plantaccess
