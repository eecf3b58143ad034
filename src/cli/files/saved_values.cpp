// Files of saved values, which docs/JSON.md describes.
//
// A property stands on a line of its own, so that a line-based comparison of two files shows what
// changed.

#include "cli/files/saved_values.h"

#include "cli/base/files.h"
#include "cli/base/json.h"
#include "cli/base/times.h"

namespace vantry::cli {
namespace {

using client::Error;
using client::ErrorCode;
using client::Property;

std::string TextOf(const Json& object, const char* member) {
    const auto found = object.find(member);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

Property PropertyOf(const Json& object) {
    Property property;
    property.id = {TextOf(object, "componentGuid"), TextOf(object, "groupGuid"),
                   TextOf(object, "guid")};
    property.componentName = TextOf(object, "component");
    property.groupName = TextOf(object, "group");
    property.name = TextOf(object, "name");
    property.value = TextOf(object, "value");
    return property;
}

}  // namespace

std::string SavedValues(const std::vector<Property>& properties, const std::string& hub) {
    Json array = Json::array();
    for (const Property& property : properties) {
        array.push_back(JsonOf(property));
    }
    return "{\"format\":\"vantry values 1\",\"saved\":" +
           OneLine(FullTime(std::chrono::system_clock::now())) + ",\"hub\":" + OneLine(hub) +
           ",\"properties\":" + LineByLine(array) + "}\n";
}

client::Result<std::vector<Property>> ParseSavedValues(const std::string& content) {
    const Json document = Json::parse(content, nullptr, false);
    if (!document.is_object() || TextOf(document, "format") != "vantry values 1" ||
        !document.contains("properties") || !document["properties"].is_array()) {
        return Error{ErrorCode::Refused, "this isn't a file of \"vantry save\""};
    }
    std::vector<Property> properties;
    for (const Json& object : document["properties"]) {
        Property property = object.is_object() ? PropertyOf(object) : Property();
        if (property.id.component.empty() || property.id.property.empty()) {
            return Error{ErrorCode::Refused, "an entry has no GUIDs: " + OneLine(object)};
        }
        properties.push_back(std::move(property));
    }
    return properties;
}

client::Result<std::vector<Property>> ReadSavedValues(const std::string& name) {
    const auto content = ReadWholeFile(name);
    if (!content) {
        return content.error();
    }
    auto parsed = ParseSavedValues(*content);
    if (!parsed) {
        return Error{parsed.error().code, name + ": " + parsed.error().text};
    }
    return parsed;
}

}  // namespace vantry::cli
