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

/// The two halves of a composite GUID, which point into it.
struct SplitGuid {
    std::string_view groupGuid;
    std::string_view guid;
};
/// Splits at the first ":". A text without one is both its halves.
SplitGuid SplitCompositeGuid(std::string_view composite);

}  // namespace vantry
