// How a property is found by what a person types.
//
// Every property has five names, from its display name alone to three GUIDs. An exact match decides
// before one without regard to case; if neither matches exactly one property, the error lists the
// candidates or, by edit distance, the nearest names. A name decides before a glob, so that a
// property whose name has a bracket can be named. Everything is compared with everything, which is
// fast enough for the thousands of properties that a hub holds.

#include "cli/select/property_names.h"

#include <strings.h>

#include <algorithm>
#include <set>

#include "cli/base/suggestions.h"
#include "cli/select/names.h"
#include "describe/glob.h"

namespace vantry::cli {
namespace {

using client::Property;

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

std::vector<const Property*> WithName(const std::vector<Property>& all, const std::string& name) {
    std::vector<const Property*> found =
        Named(all, [&](const std::string& candidate) { return candidate == name; });
    if (found.empty()) {
        found = Named(all, [&](const std::string& candidate) {
            return strcasecmp(candidate.c_str(), name.c_str()) == 0;
        });
    }
    return found;
}

client::Error NotFound(const std::vector<Property>& all, const std::string& name) {
    std::vector<std::string> names;
    const Names shown(all);
    for (const Property& property : all) {
        names.push_back(shown.Of(property));
    }
    std::string text = "there is no property \"" + name + "\"";
    if (const std::string near = DidYouMean(name, names); !near.empty()) {
        text += near;
    } else {
        text += "; \"vantry list\" shows all";
    }
    return {client::ErrorCode::NotFound, text};
}

client::Error Ambiguous(const std::vector<Property>& all, const std::string& name,
                        const std::vector<const Property*>& found) {
    const Names shown(all);
    std::string text = "\"" + name + "\" is the name of several; use one of";
    for (const Property* property : found) {
        text += "\n    " + shown.Of(*property);
    }
    return {client::ErrorCode::NotFound, text};
}

std::vector<const Property*> MatchingOrInGroup(const std::vector<Property>& all,
                                               const std::string& word) {
    if (IsGlob(word)) {
        return Named(all, [&](const std::string& name) { return MatchesPattern(name, word); });
    }
    std::vector<const Property*> found;
    for (const Property& property : all) {
        if (strcasecmp(property.groupName.c_str(), word.c_str()) == 0) {
            found.push_back(&property);
        }
    }
    return found;
}

}  // namespace

bool IsGlob(const std::string& text) { return text.find_first_of("*?") != std::string::npos; }

bool MatchesPattern(const std::string& text, const std::string& pattern) {
    if (IsGlob(pattern)) {
        return describe::GlobMatches(pattern, text, describe::LetterCase::Ignored);
    }
    return Lower(text).find(Lower(pattern)) != std::string::npos;
}

client::Result<Property> FindByName(const std::vector<Property>& all, const std::string& name) {
    const std::vector<const Property*> found = WithName(all, name);
    if (found.size() == 1) {
        return *found.front();
    }
    return found.empty() ? NotFound(all, name) : Ambiguous(all, name, found);
}

client::Result<std::vector<Property>> SelectByName(const std::vector<Property>& all,
                                                   const std::vector<std::string>& words) {
    if (words.empty()) {
        return all;
    }
    std::vector<Property> selected;
    std::set<client::PropertyId> seen;
    for (const std::string& word : words) {
        std::vector<const Property*> found = WithName(all, word);
        if (found.size() > 1) {
            return Ambiguous(all, word, found);
        }
        if (found.empty()) {
            found = MatchingOrInGroup(all, word);
        }
        if (found.empty()) {
            return NotFound(all, word);
        }
        for (const Property* property : found) {
            if (seen.insert(property->id).second) {
                selected.push_back(*property);
            }
        }
    }
    return selected;
}

}  // namespace vantry::cli
