#pragma once

#include <string_view>

namespace vantry {

/// Something with a name for people and a GUID for machines. GUIDs are opaque text, compared byte
/// for byte; nothing parses them.
struct NamedGuid {
    std::string_view name;
    std::string_view guid;
};

}  // namespace vantry
