#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "client/property.h"
#include "wire/property_message.h"

namespace vantry::client {

// Between what a program handles and what travels.

PropertyRequest RequestFor(const PropertyId& id);
/// The property that a record tells of. One that wasn't found is not available.
Property FromRecord(PropertyResponse record);
/// The properties of an answer, in order; whatever wasn't found is left out.
std::vector<Property> FoundIn(std::deque<PropertyResponse> records);
/// What a component reports of its property; texts are escaped.
PropertyResponse ReportOf(const Announcement& announcement, std::string_view status);

/// Whether the text is a value of the type.
bool Fits(ValueType type, const std::string& text);
/// Whether two texts say the same to a property, such as "true" and "True", or "007" and "7".
bool MeanTheSame(const std::string& one, const std::string& other);

}  // namespace vantry::client
