#pragma once

#include <string_view>

#include "engine/remote_property.h"
#include "property/property.h"
#include "wire/property_records.h"

namespace vantry {

/// The record of a property of this process, which belongs to the component `owner`. The value is
/// the one of this moment, escaped for a document.
PropertyResponse MakeLocalRecord(const Property& property, const Property& owner,
                                 std::string_view status);

/// The same of a property that a component has announced.
PropertyResponse MakeRemoteRecord(const RemoteProperty& property, std::string_view status);

}  // namespace vantry
