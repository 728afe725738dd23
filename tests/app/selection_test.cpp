#include <gtest/gtest.h>

#include "app/main.h"
#include "common/error.h"

namespace tb::app {
namespace {

TEST(Selection, ListsAndMessages) {
    Engines e;
    std::vector<std::string> calls;
    e.fromPbs = [&](const std::string& pbs, std::string& groups, std::string& drawings) {
        calls.push_back("pbs " + pbs);
        if (pbs == "found") {
            groups = "'G1'";
            drawings = "'D1'";
        }
    };
    e.fromUnitCode = [&](const std::string& u) -> std::string {
        calls.push_back("unit " + u);
        return u == "U1" ? "'G2','G3'" : "";
    };
    e.fromNames = [&](const std::string& n) -> std::string {
        calls.push_back("name " + n);
        return n == "D" ? "'D2'" : "";
    };
    struct Case {
        std::string pbs, unitcode, name;
        std::string groups, drawings, error;
    } cases[] = {
        {"", "", "", "", "", ""},
        {"found", "U1", "D", "'G1','G2','G3'", "'D1','D2'", ""},
        {"", "U1", "", "'G2','G3'", "", ""},
        {"", "", "D", "", "'D2'", ""},
        {"none", "", "", "", "", "Cannot find any plant group and drawing using PBS none"},
        {"", "U9", "", "", "", "Cannot find any plant group using unitcode U9"},
        // The message names the /unitcode value, not the /name value.
        {"", "U1", "X", "", "", "Cannot find any drawing using name U1"},
        {"", "", "X", "", "", "Cannot find any drawing using name "},
    };
    for (const auto& c : cases) {
        try {
            const Selection s = ResolveSelection(c.pbs, c.unitcode, c.name, e);
            EXPECT_EQ(c.error, "");
            EXPECT_EQ(s.plantGroupIDs, c.groups);
            EXPECT_EQ(s.drawingIDs, c.drawings);
        } catch (const Error& err) {
            EXPECT_EQ(err.description(), c.error);
            EXPECT_EQ(err.number(), 1);
        }
    }
}

}  // namespace
}  // namespace tb::app
