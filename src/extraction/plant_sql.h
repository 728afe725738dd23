#pragma once
// The plant's SQL: a plant schema as the run reads it, and the texts that differ by dialect.
// Oracle and SQL Server get their own texts; the embedded SQLite plant speaks the Oracle texts
// (concat and the three-argument instr are registered on its connections); a plant copy is a
// store, so its texts are the store's SQLite ("jcat" where Access has "&").

#include <string>
#include <string_view>
#include <vector>

#include "plantaccess/connection.h"
#include "plantaccess/dialect.h"

namespace tb::extraction {

using plantaccess::Dialect;

// One schema of the plant: its connection, the dialect of its SQL and the prefix its table names
// take (GetFullTableName).
struct PlantSchema {
    plantaccess::ConnectionPtr connection;
    Dialect dialect = Dialect::Oracle;
    std::string prefix;
    // The name plant SQL writes for a table of this schema.
    std::string Table(std::string_view table) const;
    // A column or alias as this schema's SQL writes it (PlantColumn).
    std::string Column(std::string_view name, const std::vector<std::string>& catalogue = {}) const;
};

// A column of a plant table, or an alias, as plant SQL writes it: a plain name as it is (the
// statements keep their text), any other quoted with plantaccess::SqlName, in the spelling the
// table's `catalogue` holds when it holds the name (a quoted name is case-sensitive on Oracle,
// and a configured key may spell the column in another case).
std::string PlantColumn(Dialect dialect, std::string_view name,
                        const std::vector<std::string>& catalogue = {});

// The word between an expression and its alias: " " on Oracle (and the SQLite plant), " AS " on
// SQL Server and in a plant copy.
std::string_view AliasKeyword(Dialect dialect);

// The file name part of a path column (the text behind its last "\").
std::string FileNameExpression(Dialect dialect, std::string_view column);
// The graphic id of a representation as text: the drawing's name, "_" and GraphicOID; in the
// viewer mode GraphicOID alone.
std::string GraphicIdExpression(Dialect dialect, bool viewerMode);
// A number column as text, so that the decode can put code list texts in its place
// (PlantItemType, ModelItemType, REPRESENTATIONTYPE of the PID statement).
std::string NumberAsText(Dialect dialect, std::string_view column);
// t_representation.instockpile as text in the drawing columns of the PID statement. SQL
// Server's str() right-aligns it in 10 characters, as the plant gives it.
std::string InstockpileAsText(Dialect dialect);

// The code list statement on the plant's dictionary schema: the entries of every list an
// attribute uses, disabled entries left out.
std::string CodelistSql(Dialect dialect, std::string_view prefix);
// The dictionary statements of m_cp, ATTRIBUTES_cp and itemattributions_cp.
std::string EntityUniqueNameSql(Dialect dialect, std::string_view prefix);
std::string AttributesSql(Dialect dialect, std::string_view prefix);
std::string ItemAttributionsSql(Dialect dialect, std::string_view prefix);

// The parent root item's name of an as-built child plant, on the site schema. The site's SQL
// writes Lower() where the name is compared, as every server has it.
std::string AsBuiltNameSql(Dialect dialect, std::string_view sitePrefix,
                           std::string_view plantName);

// The selection look-ups' statements on the plant schema, `table` as GetFullTableName gives it.
// "SELECT SP_ID FROM <table> where <column> in (<values>)" for the trimmed ";"-separated values,
// each a literal; empty when no value is left.
std::string IdsByListSql(std::string_view table, std::string_view column, std::string_view values);
// One statement per /pbs pattern: an entry ending in "*" (not "\*") is a drawing pattern, read
// from the drawings' paths, any other a plant group pattern, read from the groups' dir_path; each
// gets a leading "\" and "%" for "*". Empty entries are passed over.
struct PbsPattern {
    bool drawing = false;
    std::string sql;
};
std::vector<PbsPattern> PbsPatternsSql(std::string_view pbs, std::string_view plantGroupTable,
                                       std::string_view drawingTable);

// The columns of a plant table, read with "SELECT * FROM <table> WHERE 1=0".
std::vector<std::string> GetAllDbColumns(const PlantSchema& schema, std::string_view table);
// The same as a comma list.
std::string GetAllDbColumns2Str(const PlantSchema& schema, std::string_view table);

// The plant name to show as the as-built name: the parent root item's name when the plant is an
// as-built child, else the plant's own name.
std::string GetAsBuiltName(const PlantSchema& site, std::string_view plantName);

}  // namespace tb::extraction
