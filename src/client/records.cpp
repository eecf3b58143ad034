// The hub parses a value and escapes it again when it sends it, so a value is escaped once. It
// sends names as it has parsed them, without escaping, so a name is escaped twice.

#include "client/records.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <deque>
#include <optional>
#include <utility>

#include "wire/json/json_escapes.h"

namespace vantry::client {
namespace {

bool EqualWithoutCase(const std::string& one, const char* other) {
    return strcasecmp(one.c_str(), other) == 0;
}

std::optional<std::uint32_t> NumberIn(const std::string& text) {
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (parsed.ec != std::errc{} || parsed.ptr != end) {
        return std::nullopt;
    }
    return number;
}

/// Returns the name escaped twice, for the hub and for the receiver.
std::string EscapedName(const std::string& name) { return EscapeJsonText(EscapeJsonText(name)); }

}  // namespace

bool Interest::Covers(const PropertyId& id) const {
    return everything || std::find(groups.begin(), groups.end(), id.group) != groups.end() ||
           std::find(ids.begin(), ids.end(), id) != ids.end();
}

PropertyRequest RequestFor(const PropertyId& id) { return {id.component, id.group, id.property}; }

Property FromRecord(PropertyResponse record) {
    return {
        .id = {std::move(record.component), std::move(record.groupGuid), std::move(record.guid)},
        .componentName = std::move(record.componentString),
        .groupName = std::move(record.groupString),
        .name = std::move(record.nameString),
        .value = std::move(record.value),
        .available = record.status == Status::kSuccessful};
}

std::vector<Property> PropertiesFoundIn(std::deque<PropertyResponse> records) {
    std::vector<Property> found;
    found.reserve(records.size());
    for (PropertyResponse& record : records) {
        if (record.status != Status::kNotFound) {
            found.push_back(FromRecord(std::move(record)));
        }
    }
    return found;
}

PropertyResponse ReportOf(const Announcement& announcement, std::string_view status) {
    return {.groupGuid = announcement.id.group,
            .groupString = EscapedName(announcement.groupName),
            .guid = announcement.id.property,
            .nameString = EscapedName(announcement.name),
            .value = EscapeJsonText(announcement.value),
            .status = std::string(status),
            .component = announcement.id.component,
            .componentString = EscapedName(announcement.componentName)};
}

bool IsValue(ValueType type, const std::string& text) {
    switch (type) {
        case ValueType::Number:
            return NumberIn(text).has_value();
        case ValueType::Bool:
        case ValueType::Command:
            return EqualWithoutCase(text, "true") || EqualWithoutCase(text, "false");
        default:
            return text.find('\0') == std::string::npos;
    }
}

bool SameValue(const std::string& one, const std::string& other) {
    if (one == other) {
        return true;
    }
    const std::optional<std::uint32_t> number = NumberIn(one);
    return (number && number == NumberIn(other)) ||
           (IsValue(ValueType::Bool, one) && EqualWithoutCase(one, other.c_str()));
}

}  // namespace vantry::client
