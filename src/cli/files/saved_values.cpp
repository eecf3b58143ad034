// Files of saved values, which docs/JSON.md describes.
//
// A property stands on a line of its own, so that a line-based comparison of two files shows what
// changed. A file is complete or absent: it is written beside its name and renamed.

#include "cli/files/saved_values.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

#include "cli/base/json.h"
#include "cli/base/times.h"

namespace vantry::cli {
namespace {

using client::Error;
using client::ErrorCode;
using client::Property;

Error FileError(const std::string& name) {
    return {ErrorCode::Refused, name + ": " + std::strerror(errno)};
}

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

// Writes to a device or a pipe, in whose place no file may be renamed.
client::Outcome WriteStraight(const std::string& name, const std::string& content) {
    errno = 0;
    std::ofstream device(name, std::ios::binary);
    device << content << std::flush;
    if (!device) {
        return FileError(name);
    }
    return client::Done{};
}

}  // namespace

client::Result<std::string> ReadWholeFile(const std::string& name) {
    if (name == "-") {
        return std::string(std::istreambuf_iterator<char>(std::cin), {});
    }
    errno = 0;
    std::ifstream file(name, std::ios::binary);
    std::string content;
    if (file) {
        content.assign(std::istreambuf_iterator<char>(file), {});
    }
    if (!file || file.bad()) {
        return FileError(name);
    }
    return content;
}

client::Outcome WriteWholeFile(const std::string& name, const std::string& content, bool replace) {
    if (name == "-") {
        std::fwrite(content.data(), 1, content.size(), stdout);
        return client::Done{};
    }
    struct stat status {};
    if (stat(name.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode)) {
            return WriteStraight(name, content);
        }
        if (!replace) {
            return Error{ErrorCode::Refused, name + " exists; --force replaces it"};
        }
    }
    const std::string beside = name + ".new";
    std::ofstream file(beside, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    if (!file || std::rename(beside.c_str(), name.c_str()) != 0) {
        const Error error = FileError(name);
        unlink(beside.c_str());
        return error;
    }
    return client::Done{};
}

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
