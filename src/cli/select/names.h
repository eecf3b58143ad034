#pragma once

#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "client/property.h"

namespace vantry::cli {

/// Returns all names of a property, from the shortest to the longest: "Name", "Group/Name",
/// "Component/Group/Name", "GROUP-GUID:GUID" and "COMPONENT-GUID:GROUP-GUID:GUID".
std::vector<std::string> NamesOf(const client::Property& property);

/// The names under which the properties of a hub are shown.
class Names {
public:
    Names() = default;
    explicit Names(const std::vector<client::Property>& all);

    /// Adds a property that was announced later; one that is known already changes nothing.
    void Add(const client::Property& property);
    /// Returns the shortest name that every command accepts for this property, which no other
    /// property has and which a terminal can show.
    std::string Of(const client::Property& property) const;

private:
    std::unordered_map<std::string, int> uses;
    std::set<client::PropertyId> known;
};

}  // namespace vantry::cli
