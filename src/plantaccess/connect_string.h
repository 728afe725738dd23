#pragma once
// Connection strings. The resolution builds them in the forms its callers have always seen (the
// ADO forms, kept process-wide and compared as text); opening one turns it into what the engine
// behind it needs: an ODBC string from the templates of the program ini (section "ODBC"), a SQLite
// plant folder and schema, or the store that stands for an Access file.
//
// Secrets: no connection string reaches a log or a message unscrubbed (ScrubSecrets).

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tb::plantaccess {

inline constexpr std::string_view kOracleProvider = "OraOLEDB.Oracle";
inline constexpr std::string_view kMsdaoraProvider = "MSDAORA";
inline constexpr std::string_view kSqliteProvider = "SQLite";
inline constexpr std::string_view kJetProvider = "Microsoft.Jet.OLEDB.4.0";
inline constexpr std::string_view kAceProvider = "Microsoft.ACE.OLEDB.12.0";
// The first pair of a SQL Server string, and the one that replaces it after an SSL failure.
inline constexpr std::string_view kSqlServerDriverPair = "Driver={SQL Server}";
inline constexpr std::string_view kSqlServerProviderPair = "Provider=SQLNCLI11";
// A string that starts with this is handed to the ODBC driver manager as it stands (the rest).
inline constexpr std::string_view kOdbcPassThrough = "ODBC;";

// "Provider=<provider>;Data Source=<server>;User Id=<user>;Password=<password>;"
std::string OracleConnectString(std::string_view provider, std::string_view server,
                                std::string_view user, std::string_view password);
// firstPair + ";Server=<server>;Database=<database>;Uid=<user>;Pwd=<password>;"
std::string SqlServerConnectString(std::string_view firstPair, std::string_view server,
                                   std::string_view database, std::string_view user,
                                   std::string_view password);
// "Provider=<provider>;Data Source=<path>;Jet OLEDB:Database Password=<password>;"
std::string AccessConnectString(std::string_view provider, std::string_view path,
                                std::string_view password);

// The engine a connection string leads to.
enum class ConnectTarget {
    Oracle,             // OraOLEDB.Oracle: ODBC, template "Oracle"
    OracleFallback,     // MSDAORA: ODBC, template "OracleFallback"
    SqlServer,          // Driver={SQL Server}: ODBC, template "SqlServer"
    SqlServerFallback,  // Provider=SQLNCLI11: ODBC, template "SqlServerFallback"
    Sqlite,             // the embedded plant: Data Source is the folder, User Id the schema
    Access,             // Jet or ACE: the store that stands for the file
    Odbc,               // "ODBC;" + a string for the driver manager
    Unknown,
};

struct ConnectParts {
    ConnectTarget target = ConnectTarget::Unknown;
    std::string server;    // Data Source or Server
    std::string database;  // Database
    std::string user;      // User Id or Uid
    std::string password;  // Password, Pwd or Jet OLEDB:Database Password
    std::string odbc;      // Odbc only: the string for the driver manager
};

// Reads "key=value;" pairs, keys in any case. A piece without "=" belongs to the value before it
// (a password may hold ";").
std::vector<std::pair<std::string, std::string>> ConnectPairs(std::string_view connectString);
ConnectParts ParseConnectString(std::string_view connectString);

// The ODBC templates, with the slots {server}, {database}, {user} and {password}.
struct OdbcTemplates {
    std::string oracle;
    std::string oracleFallback;
    std::string sqlServer;
    std::string sqlServerFallback;
};
// What stands when the program ini has no section "ODBC" (see docs/decisions-plantaccess.md).
OdbcTemplates DefaultOdbcTemplates();
// The program ini's section "ODBC", keys "Oracle", "OracleFallback", "SqlServer",
// "SqlServerFallback"; a missing key keeps its default.
OdbcTemplates ReadOdbcTemplates();
// Fills the template of the parts' target. Values that hold ";", "{", "}" or blanks at either end
// are put in braces, a "}" inside doubled, as ODBC wants. Raises for a target without template.
std::string OdbcConnectString(const ConnectParts& parts, const OdbcTemplates& templates);
std::string OdbcValue(std::string_view value);

// The text with the value of every password key ("Password=", "Pwd=", "PWD=", braced values
// too) replaced by "****", and, when `secret` has three characters or more, every occurrence of it.
std::string ScrubSecrets(std::string_view text, std::string_view secret = {});

}  // namespace tb::plantaccess
