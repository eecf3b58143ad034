#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "wire/vocabulary/components.h"
#include "wire/vocabulary/debug_zones.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/print_job_words.h"
#include "wire/vocabulary/property_names.h"

namespace vantry {
namespace {

bool IsGuid(std::string_view text) {
    return text.size() == 36 && std::all_of(text.begin(), text.end(), [](char c) {
               return c == '-' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
           });
}

TEST(Vocabulary, IsWholeAndItsGuidsAreWellFormed) {
    EXPECT_EQ(Components::kAll.size(), 13U);
    EXPECT_EQ(Groups::kAll.size(), 36U);
    EXPECT_EQ(Groups::kExternal.size(), 8U);
    EXPECT_EQ(kPrintJobWords.size(), 28U);
    std::set<std::string_view> guids;
    for (const NamedGuid& component : Components::kAll) {
        EXPECT_TRUE(IsGuid(component.guid) && guids.insert(component.guid).second);
    }
    for (const NamedGuid& group : Groups::kAll) {
        EXPECT_TRUE(IsGuid(group.guid) && guids.insert(group.guid).second) << group.name;
    }
    for (const DebugZoneName& zone : kDebugZones) {
        EXPECT_TRUE(IsGuid(zone.property.guid) && guids.insert(zone.property.guid).second);
    }
}

TEST(Vocabulary, NamesKeepTheirOrderTheirBlanksAndTheirRepetitions) {
    EXPECT_EQ(kPropertyNames.front(), "Print Speed");
    EXPECT_EQ(kPropertyNames.back(), "Peak To Label Transition In Rasters");
    EXPECT_EQ(std::count_if(kPropertyNames.begin(), kPropertyNames.end(),
                            [](std::string_view name) { return name.ends_with(' '); }),
              5);
    const auto repeated = std::adjacent_find(kPropertyNames.begin(), kPropertyNames.end());
    ASSERT_NE(repeated, kPropertyNames.end());
    EXPECT_EQ(repeated[0], repeated[2]);
}

}  // namespace
}  // namespace vantry
