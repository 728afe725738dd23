#pragma once
// Code lists and the glossary: the plant's code lists, attribute names and display names in the
// extract, the "no value" row of every list, and _Glossary, the name SmartPlant P&ID shows for
// each output column.

#include <string>
#include <string_view>
#include <vector>

#include "extraction/attribute_keys.h"
#include "extraction/plant_sql.h"
#include "store/store.h"

namespace tb::extraction {

// Whether a low failure action is configured ("T_InstrFailMode.FailureActionLow_Instrument" in
// Instruments or InlineComp_Prun).
bool LowFailureActionWanted(const AttributeKeys& keys);

// Reads the dictionary schema's code lists into Codelist_cp (with the "FailureActionLow" rows
// when `lowFailureAction`), indexed on ATTRIBUTE_NAME and CODELIST_INDEX, and, unless the source
// is a plant copy, m_cp, ATTRIBUTES_cp (indexed on ATTRIBUTE_NUMBER and ATTRIBUTE_NAME) and
// itemattributions_cp. A plant copy without the table "codelists" gives nothing: false.
bool ExtractCodelists(const PlantSchema& dictionary, store::Store& store, bool lowFailureAction);

// The "FailureActionLow" rows: the rows of the list "FailureAction" once more under that name, so
// the low failure action decodes with the texts of the high one.
void AddFailureActionLowRows(store::Store& store);

// Gives every code list of Codelist_cp a "no value" row (index -1, text Null) unless it has an
// entry with an empty text already. Names compare ignoring case, as far as 255 characters.
void AddNullToCodelist(store::Store& store);

// What the decode knows to tell a column's attribute: the columns of the working tables
// t_plantitem and t_modelitem, and those of the plant's T_Drawing.
struct DecodeColumns {
    std::vector<std::string> plantItem;
    std::vector<std::string> modelItem;
    std::vector<std::string> drawing;
};
// The attribute whose code list decodes `column` of `table`. In PID and Drawings a drawing
// column is decoded as its T_Drawing column, whose name its alias may have lost to shortening
// ("SP_ArePropertiesModified" is SP_ArePropertiesModified, not ArePropertiesModified); otherwise
// the column itself when it is a column of t_plantitem or t_modelitem or the table is
// t_plantitem, else the part behind its first "_" (the owner prefix of a copied column).
std::string DecodeAttributeName(std::string_view table, std::string_view column,
                                const DecodeColumns& known);

// A coded column of a table and the attribute whose code list decodes it.
struct DecodedColumn {
    std::string column;
    std::string attribute;
};
// The rows of the lookup the decode probes, from Codelist_cp: for every list (its name in lower
// case) and code (CODELIST_INDEX as text), the text of the list's last row with that code.
std::string DecodeLookupSql();
// One UPDATE decoding every coded column of `table`: a code found in its list becomes the list's
// text (Null included); other values stay. Codes compare as text, in binary.
std::string DecodeUpdateSql(std::string_view table, const std::vector<DecodedColumn>& columns);

// Reads the lookup (DecodeLookupSql) into memory for DecodeTable's tb_decode; DropDecodeLookup
// removes it.
void MakeDecodeLookup(store::Store& store);
void DropDecodeLookup(store::Store& store);
// Decodes the coded columns of `table` in one pass: number columns become Text first (one
// rebuild for all), then one UPDATE; decoded columns widen to their longest text.
void DecodeTable(store::Store& store, std::string_view table,
                 const std::vector<DecodedColumn>& columns);

// A column split into its owner and its attribute.
struct GlossaryOwner {
    std::string owner;
    std::string attribute;
    bool operator==(const GlossaryOwner&) const = default;
};
// "drawing*" columns belong to the representation ("Drawing_Name" -> Representation,
// "Drawing.Name"); a column with a "_" that is not that of a leading "sp_" splits at it
// ("PipeRun_ItemTag" -> PipeRun, ItemTag); any other column is an attribute of the plant item in
// Plantitems and of the category's own object in a category table of one object (Instruments,
// ItemNotes, OPCs, InlineComp_Prun's pipe run, Eqp_Nozzle's equipment); elsewhere it has no owner.
GlossaryOwner GetGlossaryOwner(std::string_view column, std::string_view table);
// The word shown for an owner: "Inline Component", "Piping Component", "Pipe Run", "Instrument
// Loop", "Plant Item", "Model Item"; any other owner as written with a capital first letter.
std::string GetGlossaryOwnerName(std::string_view owner);

// Fills _Glossary (made when missing, key Table and Column) for every column of the tables named
// in Task and of PID, from the display names of itemattributions_cp (looked up ignoring case: the
// owner's form "<owner>.<attribute>" first, then the attribute alone). Columns already there and
// columns without a display name get no row.
void FillGlossary(store::Store& store);

}  // namespace tb::extraction
