#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::gateway {

/// The decoded target of a request.
struct Target {
    /// "/api/properties" has the segments "api" and "properties". "/" has none.
    std::vector<std::string> segments;
    std::map<std::string, std::string> query;
};

/// Decodes a target. Returns nothing if it doesn't begin with a slash, holds a wrong escape, a
/// control character, a segment "." or "..", or the same name twice in its query. Each segment is
/// decoded after the path has been divided, so an escaped slash is part of its segment.
std::optional<Target> ParseTarget(std::string_view text);

}  // namespace vantry::gateway
