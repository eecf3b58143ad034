// How a property is found by what a person types.
//
// Every property has five names, from its display name alone to three GUIDs. An exact match decides
// before one without regard to case; if neither matches exactly one property, the error lists the
// candidates or, by edit distance, the nearest names. Everything is compared with everything, which
// is fast enough for the thousands of properties that a hub holds.

#include "cli/select/property_names.h"

#include <fnmatch.h>
#include <strings.h>

#include <algorithm>

#include "cli/base/suggestions.h"
#include "cli/base/text.h"

namespace vantry::cli {
namespace {

using client::Property;

/// Returns all names of a property, from the shortest to the longest.
std::vector<std::string> NamesOf(const Property& property) {
    const std::string inGroup = property.groupName + "/" + property.name;
    const std::string guids = property.id.group + ":" + property.id.property;
    return {property.name, inGroup, property.componentName + "/" + inGroup, guids,
            property.id.component + ":" + guids};
}

template <typename Equal>
std::vector<const Property*> Named(const std::vector<Property>& all, const Equal& equal) {
    std::vector<const Property*> found;
    for (const Property& property : all) {
        const std::vector<std::string> names = NamesOf(property);
        if (std::any_of(names.begin(), names.end(), equal)) {
            found.push_back(&property);
        }
    }
    return found;
}

std::string NearestNames(const std::vector<Property>& all, const std::string& name) {
    std::vector<std::string> names;
    names.reserve(all.size());
    for (const Property& property : all) {
        names.push_back(DisplayName(property, false));
    }
    return DidYouMean(name, names);
}

}  // namespace

bool MatchesPattern(const std::string& text, const std::string& pattern) {
    if (pattern.find_first_of("*?[") != std::string::npos) {
        return fnmatch(pattern.c_str(), text.c_str(), FNM_CASEFOLD) == 0;
    }
    return Lower(text).find(Lower(pattern)) != std::string::npos;
}

client::Result<Property> FindByName(const std::vector<Property>& all, const std::string& name) {
    std::vector<const Property*> found =
        Named(all, [&](const std::string& candidate) { return candidate == name; });
    if (found.empty()) {
        found = Named(all, [&](const std::string& candidate) {
            return strcasecmp(candidate.c_str(), name.c_str()) == 0;
        });
    }
    if (found.size() == 1) {
        return *found.front();
    }
    if (found.empty()) {
        return client::Error{client::ErrorCode::NotFound,
                             "there is no property \"" + name + "\"" + NearestNames(all, name)};
    }
    std::string text = "\"" + name + "\" is the name of several:";
    for (const Property* property : found) {
        text += "\n    " + DisplayName(*property, true) + "   " + property->id.component + ":" +
                property->id.group + ":" + property->id.property;
    }
    return client::Error{client::ErrorCode::NotFound, text};
}

}  // namespace vantry::cli
