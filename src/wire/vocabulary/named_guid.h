#pragma once

#include <string_view>

namespace vantry {

/// The display name and the GUID of a property, a group or a component. GUIDs are opaque text that
/// is compared byte for byte; nothing parses them.
struct NamedGuid {
    std::string_view name;
    std::string_view guid;
};

}  // namespace vantry
