// The Jet type table: every reader of it assumes one entry per code and facts that agree with
// each other.

#include "common/jet_types.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "common/text.h"

namespace tb {
namespace {

TEST(JetTypes, OneEntryPerCodeAndName) {
    std::set<std::string> names;
    for (const JetTypeFacts& f : kJetTypes) {
        EXPECT_EQ(&JetFacts(f.type), &f) << f.name;
        EXPECT_FALSE(f.name.empty());
        EXPECT_TRUE(names.insert(ToLowerAscii(f.name)).second) << f.name;
    }
    for (int code : {0x00, 0x0D, 0x0E, 0x11, 0xFF})
        EXPECT_EQ(&JetFacts(static_cast<JetType>(code)), &kUnknownJetType) << code;
}

TEST(JetTypes, FactsAgree) {
    for (const JetTypeFacts& f : kJetTypes) {
        SCOPED_TRACE(std::string(f.name));
        EXPECT_EQ(f.size > 0, f.fixed && f.type != JetType::Boolean);
        EXPECT_EQ(f.isNumber(),
                  f.storage == StorageClass::Integer || f.storage == StorageClass::Real);
        // A whole number's range fits the bytes it is stored in (Boolean is a bit of its own).
        if (f.storage == StorageClass::Integer && f.type != JetType::Boolean) {
            ASSERT_LT(f.low, f.high);
            ASSERT_LE(f.size, 4);
            EXPECT_LT(f.high - f.low, std::int64_t{1} << (8 * f.size));
        }
    }
}

}  // namespace
}  // namespace tb
