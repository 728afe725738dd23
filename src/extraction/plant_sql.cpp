#include "extraction/plant_sql.h"

#include "common/error.h"
#include "common/text.h"
#include "store/access_text.h"

namespace tb::extraction {
namespace {

std::string Prefixed(Dialect dialect, std::string_view prefix, std::string_view table) {
    return plantaccess::GetFullTableName(dialect, prefix, table);
}

}  // namespace

std::string PlantSchema::Table(std::string_view table) const {
    return Prefixed(dialect, prefix, table);
}

std::string PlantSchema::Column(std::string_view name,
                                const std::vector<std::string>& catalogue) const {
    return PlantColumn(dialect, name, catalogue);
}

std::string PlantColumn(Dialect dialect, std::string_view name,
                        const std::vector<std::string>& catalogue) {
    if (plantaccess::IsPlainName(dialect, name)) return std::string(name);
    for (const std::string& spelled : catalogue)
        if (IEquals(spelled, name)) return plantaccess::SqlName(dialect, spelled);
    return plantaccess::SqlName(dialect, name);
}

std::string_view AliasKeyword(Dialect dialect) {
    return plantaccess::UsesOracleTexts(dialect) ? " " : " AS ";
}

std::string FileNameExpression(Dialect dialect, std::string_view column) {
    const std::string c(column);
    switch (dialect) {
        case Dialect::SqlServer:
            return "right(" + c + ",charindex('\\',REVERSE(" + c + "))-1)";
        case Dialect::AccessCopy:
            return c;
        default:
            return "substr(" + c + ",instr(" + c + ",'\\',-1)+1)";
    }
}

std::string GraphicIdExpression(Dialect dialect, bool viewerMode) {
    switch (dialect) {
        case Dialect::SqlServer:
            return viewerMode ? "CAST(GraphicOID AS varchar(10))"
                              : "t_drawing.name + '_' + CAST(GraphicOID AS varchar(10))";
        case Dialect::AccessCopy:
            return viewerMode ? "jcat('', GraphicOID)" : "jcat(t_drawing.name, '_', GraphicOID)";
        default:
            return viewerMode ? "CONCAT('', GraphicOID)"
                              : "CONCAT(CONCAT(t_drawing.name,  '_'), GraphicOID)";
    }
}

std::string NumberAsText(Dialect dialect, std::string_view column) {
    const std::string c(column);
    switch (dialect) {
        case Dialect::SqlServer:
            return "'' + CAST(" + c + " AS varchar(50))";
        case Dialect::AccessCopy:
            return "jcat('', " + c + ")";
        default:
            return "CONCAT(" + c + ",'')";
    }
}

std::string InstockpileAsText(Dialect dialect) {
    switch (dialect) {
        case Dialect::SqlServer:
            return "str(t_representation.instockpile) + ''";
        case Dialect::AccessCopy:
            return "jcat(t_representation.instockpile, '')";
        default:
            return "CONCAT(t_representation.instockpile,'')";
    }
}

std::string CodelistSql(Dialect dialect, std::string_view prefix) {
    std::string match;
    switch (dialect) {
        case Dialect::SqlServer:
            match = "'C' + rtrim(ltrim(str(CODELISTS.CODELIST_NUMBER)))";
            break;
        case Dialect::AccessCopy:
            match = "jcat('C', CODELISTS.CODELIST_NUMBER)";
            break;
        default:
            match = "CONCAT('C',CODELISTS.CODELIST_NUMBER)";
            break;
    }
    return "SELECT DISTINCT ATTRIBUTE_NAME, CODELIST_NUMBER, CODELIST_INDEX, "
           "CODELIST_TEXT,CODELIST_SHORT_TEXT, "
           "CODELIST_CONSTRAINT, CODELIST_SORT_VALUE FROM " +
           Prefixed(dialect, prefix, "ATTRIBUTES") + "," + Prefixed(dialect, prefix, "CODELISTS") +
           " WHERE ATTRIBUTES.ATTRIBUTE_DATATYPE = " + match +
           " AND ATTRIBUTE_CODELISTED='T' AND CODELIST_ENTRY_DISABLED=0";
}

std::string EntityUniqueNameSql(Dialect dialect, std::string_view prefix) {
    return "SELECT entities.entity_name,uniqueatts.unique_name FROM " +
           Prefixed(dialect, prefix, "entities") + "," + Prefixed(dialect, prefix, "uniqueatts") +
           " WHERE entities.entity_number=uniqueatts.entity_number AND "
           "uniqueatts.calculationprogid "
           "='SmartPlantHyperDesc.SPForeignCalc'";
}

std::string AttributesSql(Dialect dialect, std::string_view prefix) {
    return "SELECT distinct ATTRIBUTE_NUMBER, ATTRIBUTE_NAME, DEPENDSONID FROM " +
           Prefixed(dialect, prefix, "ATTRIBUTES");
}

std::string ItemAttributionsSql(Dialect dialect, std::string_view prefix) {
    return "SELECT NAME,DISPLAYNAME FROM " + Prefixed(dialect, prefix, "itemattributions") +
           " group by NAME,DISPLAYNAME";
}

std::string AsBuiltNameSql(Dialect dialect, std::string_view sitePrefix,
                           std::string_view plantName) {
    const std::string rootItem = Prefixed(dialect, sitePrefix, "T_ROOTITEM");
    return "select name from " + rootItem + " where SP_ID in (select SP_PARENTROOTITEMID from " +
           rootItem + " where Lower(name) =" + SqlLiteral(store::ToLowerUnicode(plantName)) + ")";
}

std::string IdsByListSql(std::string_view table, std::string_view column, std::string_view values) {
    std::vector<std::string> literals;
    for (const std::string& v : Split(values, ";")) {
        const std::string trimmed(TrimBlanks(v));
        if (!trimmed.empty()) literals.push_back(SqlLiteral(trimmed));
    }
    if (literals.empty()) return {};
    return "SELECT SP_ID FROM " + std::string(table) + " where " + std::string(column) + " in (" +
           Join(literals, ",") + ")";
}

std::vector<PbsPattern> PbsPatternsSql(std::string_view pbs, std::string_view plantGroupTable,
                                       std::string_view drawingTable) {
    std::vector<PbsPattern> out;
    for (const std::string& raw : Split(pbs, ";")) {
        std::string pattern(TrimBlanks(raw));
        if (pattern.empty()) continue;
        const bool drawing = pattern.ends_with("*") && !pattern.ends_with("\\*");
        if (!pattern.starts_with("\\")) pattern = "\\" + pattern;
        pattern = ReplaceAll(pattern, "*", "%");
        if (drawing)
            out.push_back({true, "SELECT SP_ID FROM " + std::string(drawingTable) +
                                     " where path like " + SqlLiteral(pattern)});
        else
            out.push_back({false, "SELECT SP_ID FROM " + std::string(plantGroupTable) +
                                      " where dir_path like " + SqlLiteral(pattern)});
    }
    return out;
}

std::vector<std::string> GetAllDbColumns(const PlantSchema& schema, std::string_view table) {
    return Trap("GetAllDbColumns2Str", [&] {
        if (!schema.connection)
            throw Error(kErrInternal, "No connection to read the columns of " + std::string(table));
        auto cursor =
            schema.connection->Query("SELECT * FROM " + schema.Table(table) + " WHERE 1=0");
        std::vector<std::string> out;
        for (const plantaccess::FieldInfo& f : cursor->Fields()) out.push_back(f.name);
        return out;
    });
}

std::string GetAllDbColumns2Str(const PlantSchema& schema, std::string_view table) {
    return Join(GetAllDbColumns(schema, table), ",");
}

std::string GetAsBuiltName(const PlantSchema& site, std::string_view plantName) {
    return Trap("GetAsBuiltName", [&] {
        if (!site.connection) return std::string(plantName);
        auto cursor = site.connection->Query(AsBuiltNameSql(site.dialect, site.prefix, plantName));
        if (cursor->Next()) {
            const plantaccess::Cell cell = cursor->Get(0);
            if (cell.kind == plantaccess::CellKind::Text && !cell.bytes.empty())
                return std::string(cell.bytes);
        }
        return std::string(plantName);
    });
}

}  // namespace tb::extraction
