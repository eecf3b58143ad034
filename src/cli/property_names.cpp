// How a property is found by what a person types.
//
// Every property has five names, from its display name alone to three GUIDs. An exact match decides
// before one without regard to case; if neither matches exactly one property, the error lists the
// candidates or, by edit distance, the nearest names. Everything is compared with everything, which
// is fast enough for the thousands of properties that a hub holds.

#include "cli/property_names.h"

#include <fnmatch.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

#include "cli/text.h"

namespace vantry::cli {
namespace {

using client::Property;

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

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

/// Returns how many bytes must be replaced, inserted or deleted to make one text of the other.
std::size_t EditDistance(const std::string& one, const std::string& other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= one.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t replaced = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

std::size_t DistanceTo(const Property& property, const std::string& name) {
    const std::string lower = Lower(name);
    if (Lower(property.name).find(lower) != std::string::npos) {
        return 0;
    }
    return std::min(EditDistance(Lower(property.name), lower),
                    EditDistance(Lower(property.groupName + "/" + property.name), lower));
}

std::string NearestNames(const std::vector<Property>& all, const std::string& name) {
    constexpr std::size_t kMostNames = 3;
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const Property& property : all) {
        const std::size_t distance = DistanceTo(property, name);
        if (distance <= std::max<std::size_t>(3, name.size() / 2)) {
            near.emplace_back(distance, DisplayName(property, false));
        }
    }
    std::sort(near.begin(), near.end());
    near.erase(std::unique(near.begin(), near.end()), near.end());
    std::string text;
    for (std::size_t place = 0; place < std::min(near.size(), kMostNames); ++place) {
        text += (place == 0 ? "; did you mean \"" : ", \"") + near[place].second + "\"";
    }
    return text.empty() ? text : text + "?";
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
