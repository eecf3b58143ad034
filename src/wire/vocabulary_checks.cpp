// What must hold of the lists of the vocabulary, which people edit by hand.

#include <algorithm>
#include <array>
#include <string_view>

#include "wire/vocabulary/components.h"
#include "wire/vocabulary/debug_zones.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/print_job_words.h"
#include "wire/vocabulary/property_names.h"

namespace vantry {
namespace {

constexpr bool IsGuid(std::string_view text) {
    return text.size() == 36 && std::all_of(text.begin(), text.end(), [](char c) {
               return c == '-' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
           });
}

/// Returns whether all GUIDs are well formed, and none stands twice, in whichever lists.
constexpr bool GuidsAreWellFormedAndDistinct() {
    std::array<std::string_view, Components::kAll.size() + Groups::kAll.size() + kDebugZones.size()>
        guids;
    auto* next = guids.begin();
    for (const NamedGuid& component : Components::kAll) {
        *next++ = component.guid;
    }
    for (const NamedGuid& group : Groups::kAll) {
        *next++ = group.guid;
    }
    for (const DebugZoneName& zone : kDebugZones) {
        *next++ = zone.property.guid;
    }
    std::sort(guids.begin(), guids.end());
    return std::all_of(guids.begin(), guids.end(), IsGuid) &&
           std::adjacent_find(guids.begin(), guids.end()) == guids.end();
}
static_assert(GuidsAreWellFormedAndDistinct());
static_assert(Components::kAll.size() == 13 && Groups::kAll.size() == 36);
static_assert(Groups::kExternal.size() == 8);

// Every word and name has a text: an array that lost one has an empty text at its end.
static_assert(!kPrintJobWords.back().empty());
static_assert(kPropertyNames.front() == "Print Speed");
static_assert(kPropertyNames.back() == "Peak To Label Transition In Rasters");
static_assert(std::count_if(kPropertyNames.begin(), kPropertyNames.end(),
                            [](std::string_view name) { return name.ends_with(' '); }) == 5);
// One name is listed three times in a row.
static_assert(std::adjacent_find(kPropertyNames.begin(), kPropertyNames.end())[0] ==
              std::adjacent_find(kPropertyNames.begin(), kPropertyNames.end())[2]);

}  // namespace
}  // namespace vantry
