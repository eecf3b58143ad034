#pragma once

#include <string>

#include "engine/remote_property.h"
#include "property/property.h"

namespace vantry {

/// The component that a record names as the owner of its property. Refers to strings of others.
struct RecordOwner {
    const std::string& component;
    const std::string& name;
};
inline RecordOwner OwnerOf(const RemoteProperty& property) {
    return {property.component, property.componentName};
}

/// Returns the text of a record with the current value. The property keeps the text, so it is made
/// once for each value, and of that for the value before. Thread-safe.
KeptText::Shared RecordTextOf(const Property& property, const RecordOwner& owner);
/// Returns the text of the record that reports the withdrawal of the property. Each call makes a
/// new text.
KeptText::Shared WithdrawalTextOf(const Property& property, const RecordOwner& owner);

}  // namespace vantry
