#pragma once

#include <string>

#include "property/property_catalog.h"

namespace vantry {

/// A version and its build number, as texts.
struct VersionInfo {
    std::string version;
    std::string buildNumber;
};

// Functions that add the properties of the group "Product Info" to a catalog. They aren't saved, so
// a value that a client sets lasts until the hub stops.

/// Adds the versions of the operating system, of the firmware and of the SDK.
void AddProductInfo(PropertyCatalog& store, const VersionInfo& os);
/// Adds the version of the Qt runtime libraries.
void AddQtRuntimeInfo(PropertyCatalog& store, const VersionInfo& qt);
/// Adds the version of the common Qt modules.
void AddQtCommonInfo(PropertyCatalog& store, const VersionInfo& qt);

}  // namespace vantry
