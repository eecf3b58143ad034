#pragma once

#include <string>

#include "engine/remote_property.h"
#include "property/property.h"

namespace vantry {

/// The component that a record names as the owner of its property.
struct RecordOwner {
    const std::string& component;
    const std::string& name;
};
inline RecordOwner OwnerOf(const RemoteProperty& property) {
    return {property.component, property.componentName};
}

/// Returns the text of a record with the value in force, which is made once for each value.
KeptText::Shared RecordTextOf(const Property& property, const RecordOwner& owner);
/// Returns the text of the record that says that the property is gone. Nothing keeps it.
KeptText::Shared WithdrawalTextOf(const Property& property, const RecordOwner& owner);

}  // namespace vantry
