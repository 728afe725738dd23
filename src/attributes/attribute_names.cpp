#include "attributes/attribute_names.h"

#include <map>

#include "attributes/logged_trap.h"
#include "common/text.h"
#include "plantaccess/ado.h"
#include "plantaccess/resolution.h"

namespace tb::attributes {

namespace {

// Lower-cased name -> the dictionary's spelling (the first one read).
std::map<std::string, std::string>& Names() {
    static std::map<std::string, std::string> names;
    return names;
}

void ReadNames(std::string_view sql, const plantaccess::ConnectionPtr& connection) {
    auto rs = plantaccess::AdoRead(sql, connection);
    std::map<std::string, std::string> names;
    for (; !rs->Eof(); rs->MoveNext()) {
        const std::string name = rs->Field(0).ToText();
        if (!name.empty()) names.emplace(ToLowerAscii(name), name);
    }
    Names() = std::move(names);
}

}  // namespace

void InitAttributeNames() {
    LoggedTrap("InitAttributeNames",
               [] { ReadNames("SELECT distinct ATTRIBUTE_NAME FROM ATTRIBUTES_cp;", nullptr); });
}

void InitAttributeNamesFromDictionary() {
    LoggedTrap("InitAttributeNames", [] {
        const auto dict = plantaccess::Connect2PIDDB(plantaccess::kDictionarySchema);
        ReadNames("SELECT distinct ATTRIBUTE_NAME FROM " + dict.prefix + "ATTRIBUTES",
                  dict.connection);
    });
}

void ClearAttributeNames() {
    Names().clear();
}

std::string GetAttNameFromDB(std::string_view name, bool& found) {
    const auto it = Names().find(ToLowerAscii(name));
    found = it != Names().end();
    return found ? it->second : std::string(name);
}

std::string GetAttNameFromDB(std::string_view name) {
    bool found = false;
    return GetAttNameFromDB(name, found);
}

}  // namespace tb::attributes
