#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/property.h"
#include "client/result.h"

namespace vantry::cli {

/// Returns whether `text` contains `pattern` or, if that has a *, ? or [, matches it as a glob.
/// Upper and lower case are equal.
bool MatchesPattern(const std::string& text, const std::string& pattern);

/// Returns the one property of `all` that has this name: "Name", "Group/Name",
/// "Component/Group/Name", "GROUP-GUID:GUID" or the same with a component GUID and ":" in front.
/// Exact matches have priority over those without regard to case. If not exactly one property
/// matches, the error (NotFound) lists the candidates or the nearest names.
client::Result<client::Property> FindByName(const std::vector<client::Property>& all,
                                            const std::string& name);

}  // namespace vantry::cli
