#include "gateway/filter.h"

#include "describe/glob.h"

namespace vantry::gateway {
namespace {

bool Fits(const std::string& glob, const std::string& name, const std::string& guid) {
    return glob.empty() || describe::GlobMatches(glob, name, describe::LetterCase::Ignored) ||
           describe::GlobMatches(glob, guid, describe::LetterCase::Ignored);
}

client::Error Refused(std::string text) { return {client::ErrorCode::Refused, std::move(text)}; }

}  // namespace

client::Result<Filter> Filter::ForStream(const std::map<std::string, std::string>& query) {
    Filter filter;
    const std::map<std::string, std::string*> globs{{"component", &filter.component},
                                                    {"group", &filter.group},
                                                    {"name", &filter.name},
                                                    {"match", &filter.match}};
    for (const auto& [key, value] : query) {
        const auto glob = globs.find(key);
        if (glob == globs.end()) {
            return Refused("there is no parameter \"" + key +
                           "\" here; there are component, group, name and match");
        }
        *glob->second = value;
    }
    return filter;
}

client::Result<Filter> Filter::ForList(const std::map<std::string, std::string>& query) {
    std::map<std::string, std::string> rest = query;
    const auto available = rest.extract("available");
    client::Result<Filter> filter = ForStream(rest);
    if (filter && available) {
        if (available.mapped() != "true" && available.mapped() != "false") {
            return Refused("\"available\" is true or false");
        }
        filter->available = available.mapped() == "true";
    }
    return filter;
}

bool Filter::Accepts(const client::Property& property) const {
    return Fits(component, property.componentName, property.id.component) &&
           Fits(group, property.groupName, property.id.group) &&
           Fits(name, property.name, property.id.property) &&
           (match.empty() || describe::GlobNames(match, property, describe::LetterCase::Ignored)) &&
           available.value_or(property.available) == property.available;
}

bool Filter::AcceptsAll() const {
    return component.empty() && group.empty() && name.empty() && match.empty() && !available;
}

}  // namespace vantry::gateway
