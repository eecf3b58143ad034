#pragma once

#include <string>

#include "client/property.h"

namespace vantry::describe {

/// Returns whether a glob such as "Sensors/*" matches "Name", "Group/Name" or
/// "Component/Group/Name" of the property. Upper and lower case are equal, and a star matches
/// slashes as well. Thread-safe.
bool MatchesGlob(const client::Property& property, const std::string& glob);

}  // namespace vantry::describe
