#pragma once

#include <string>
#include <string_view>

namespace vantry {

/// Returns `component` ":" `groupGuid` ":" `guid`, which names a property among those of all
/// components.
std::string FullKey(std::string_view component, std::string_view groupGuid, std::string_view guid);

/// Returns `groupGuid` ":" `guid`: the form in which a property's GUID travels, and which names a
/// property among those of one component.
std::string CompositeGuid(std::string_view groupGuid, std::string_view guid);

/// Returns the key of a property of the hub in its catalog, which has the form of the composite
/// GUID.
inline std::string CatalogKey(std::string_view groupGuid, std::string_view guid) {
    return CompositeGuid(groupGuid, guid);
}

/// Returns `groupGuid` ":", under which the members of a group are listed.
std::string GroupKey(std::string_view groupGuid);

/// Returns whether nothing follows the first ":" of the key. A full key, which has two, is never
/// the key of a group, and a catalog key is one only if its GUID is empty.
bool IsGroupKey(std::string_view key);

/// The two halves of a composite GUID, which point into it.
struct SplitGuid {
    std::string_view groupGuid;
    std::string_view guid;
};
/// Splits at the first ":". A text without one is both its halves.
SplitGuid SplitCompositeGuid(std::string_view composite);

}  // namespace vantry
