#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "client/property.h"
#include "wire/property_message.h"

namespace vantry::client {

// Conversions between the types of the library and the records of messages. All functions are
// thread-safe.

/// Returns the entry of a request for this property.
PropertyRequest RequestFor(const PropertyId& id);
/// Returns the property that a record describes. It is available if the status is successful.
Property FromRecord(PropertyResponse record);
/// Returns the properties of an answer, in order, without those that weren't found.
std::vector<Property> PropertiesFoundIn(std::deque<PropertyResponse> records);
/// Returns the record by which a component reports its property, with the texts escaped.
PropertyResponse ReportOf(const Announcement& announcement, std::string_view status);

/// Returns whether the text is a value of the type.
bool IsValue(ValueType type, const std::string& text);
/// Returns whether two texts denote the same value, such as "true" and "True", or "007" and "7".
bool SameValue(const std::string& one, const std::string& other);

}  // namespace vantry::client
