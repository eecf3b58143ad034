#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/property.h"
#include "client/result.h"

namespace vantry::cli {

/// Whether `text` holds `pattern`, or matches it if it has a * or ?; without regard to case.
bool MatchesPattern(const std::string& text, const std::string& pattern);

/// The one property that a person means by `name` among `all`: "Name", "Group/Name",
/// "Component/Group/Name", "GROUP-GUID:GUID" or the same with a component GUID and ":" in front.
/// Exact matches win over those without regard to case. An error names the candidates, or the
/// nearest names.
client::Result<client::Property> FindByName(const std::vector<client::Property>& all,
                                            const std::string& name);

}  // namespace vantry::cli
