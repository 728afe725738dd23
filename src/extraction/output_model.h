#pragma once
// The output model: the helpers that carry rows into the extract's store and shape its tables,
// and the closing table _Info. Every helper adds its name to the source of an error it raises.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "extraction/attribute_keys.h"
#include "plantaccess/connection.h"
#include "plantaccess/transfer.h"
#include "store/store.h"

namespace tb::extraction {

// Carries the rows of a plant query into the new store table `table` (a table of that name goes
// first), through the plant access layer's bulk transfer: no row passes through a text file or a
// helper program. `renames` ("\r"-separated names, by position) renames every column whose name
// differs, case included, so the run's spelling stands whatever case the server gives back
// (Oracle answers unquoted names in capitals). An empty result still makes the table. The
// statement is kept as the session's last statement and logged when it fails.
plantaccess::TransferResult Rs2Access(plantaccess::Connection& source, std::string_view sql,
                                      store::Store& store, std::string_view table,
                                      std::string_view renames = {});

// The counter [ID] as the table's primary key, numbering the rows in stored order.
void AddID2Table(store::Store& store, std::string_view table);

// When "Others.Quantity" is configured for the category `table`: a Long [Quantity] set to 1 on
// every row. A failed column addition is logged and the update still runs.
void AddQuantityColumn(store::Store& store, std::string_view table, const AttributeKeys& keys);

// One index on each listed column that the table has (others are passed over).
void IndexTable(store::Store& store, std::string_view table,
                const std::vector<std::string>& columns);
// One index on one column, named after it.
void IndexColumn(store::Store& store, std::string_view column, std::string_view table);

// Rewrites the table with every column that is not text turned into text, as Access shows the
// values ("3", "0.5", "-1"; Null becomes "", as "'' & Null" does), so that a code list text can
// later take a number's place. Left as
// they are: "ID", text columns, the columns of `keep` (comma list, any case), columns like
// "*sp*si" (the SI twins of measured values) and binary columns. Rows keep their order, indexes
// stay.
void StringTable(store::Store& store, std::string_view table, std::string_view keep = {});

void RenameColumn(store::Store& store, std::string_view table, std::string_view oldName,
                  std::string_view newName);
// Every column becomes prefix + name + suffix.
void RenameAllCols(store::Store& store, std::string_view table, std::string_view prefix,
                   std::string_view suffix = {});
void DropColumn(store::Store& store, std::string_view table, std::string_view column);

// Narrows a date column to the text of its dates, VARCHAR(50). Dates are already text
// "yyyy-mm-dd hh:mm:ss" in the store; only the Jet type changes.
void ConvertDate2Text(store::Store& store, std::string_view table, std::string_view column);

// The size from which the extract is compacted: the first whole byte count at or over 1.8 x 2^29.
inline constexpr std::uintmax_t kCompactThreshold = 966367642;

// Compacts the extract when its store has reached kCompactThreshold bytes, through the session's
// CompactDatabase (which logs "Compacting database '<file>'..." and the outcome); below that it
// does nothing. True when it compacted.
bool Compact(const std::filesystem::path& extract);

// --- _Info ---

// The five values of section "Info" of the attribute configuration, written when the user asked
// for manual extract info ("manualInfo" and "keepInfo" of section "ProjectSettings" both 1).
struct ManualInfo {
    std::string expiringDate;  // a number of days after the extract's time
    std::string revision;
    std::string version;
    std::string info;
    std::string description;
};

struct ExtractInfo {
    std::string application;  // "Tarnbrook"
    std::string version;      // the program's version
    std::string domainName;   // the machine's host name: the logon domain of a workstation
    std::string userName;
    std::string project;                         // the plant
    std::string asBuiltName;                     // GetAsBuiltName
    std::chrono::system_clock::time_point time;  // when the extract was made (stored as UTC)
    bool withManualInfo = false;
    ManualInfo manual;
    std::string settings;  // the bytes of the run's ini copy; empty until SaveRunParameters
};

// The info that stands for this program, user and machine at `now`; the caller adds project,
// as-built name and manual info.
ExtractInfo CurrentExtractInfo(std::string application);
// Section "Info" of the attribute configuration.
ManualInfo ReadManualInfo(const std::filesystem::path& attributeIni);
// Whether the user configuration asks for manual info: "manualInfo" and "keepInfo" of section
// "ProjectSettings" both 1.
bool ManualInfoWanted(const std::filesystem::path& userConfigFile);

// Creates _Info (an old one goes first) with its one row: every column Text(255) but Extract_UTC
// and Expiration_date (DateTime) and Settings (OLE). The manual values have their line breaks
// stored as the two characters "\n"; an empty value is Null; "ExpiringDate" days are added to the
// extract's time (a value that is no number leaves Expiration_date Null).
void CreateInfoTable(store::Store& store, const ExtractInfo& info);
// The extract's text convention: each line break (CR LF, CR or LF) becomes one character 3.
std::string LineBreaksAsMarker(std::string_view text);

// Stores the bytes of the run's ini copy in _Info.Settings.
void SetInfoSettings(store::Store& store, std::string_view settings);

// "yyyy-mm-dd hh:mm:ss" of a point in time, in UTC: the store's text of a date.
std::string UtcDateText(std::chrono::system_clock::time_point time);

}  // namespace tb::extraction
