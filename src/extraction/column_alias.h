#pragma once
// The one mapping from a configured attribute key to a column of the extract.

#include <string>
#include <string_view>
#include <vector>

namespace tb::extraction {

// "t_drawing.name" -> "Drawing_name"; "Others.Quantity" -> "Quantity";
// "T_ModelItem.ItemTag_PipeRun" -> "PipeRun_ItemTag"; "t_plantgroup.Name" -> "Name";
// "T_PipingPoint._1_Size" -> "End_1_Size"; "T_PlantItem.ItemTag" -> "Plantitem_itemtag".
// With a hint, its first occurrence in the result (ignoring case) takes the hint's spelling.
std::string GetColumnAlias(std::string_view key, std::string_view hint = {});

// An alias of more than 30 characters holding "_" loses everything up to the first "_".
std::string ShortenAlias(std::string_view alias);

// The T_Drawing column of `drawingColumns` whose drawing alias, ShortenAlias("Drawing_" + column),
// is `alias` (ignoring case), in the spelling of `drawingColumns`; empty when none gives it. A
// shortened alias no longer tells its attribute by its first "_": "SP_ArePropertiesModified"
// comes from Drawing_SP_ArePropertiesModified.
std::string DrawingColumnOfAlias(std::string_view alias,
                                 const std::vector<std::string>& drawingColumns);

// The name with `suffix` at its end (ignoring case) replaced by `replacement`.
std::string StripSuffix(std::string_view name, std::string_view suffix,
                        std::string_view replacement = {});

// The owner suffixes in the order they are tested, with the alias prefix each gives.
struct OwnerSuffix {
    std::string_view suffix;  // lower case, with its leading "_"
    std::string_view prefix;
};
const OwnerSuffix* OwnerSuffixes(std::size_t& count);

}  // namespace tb::extraction
