#pragma once

#include <string>

#include "property/property_catalog.h"

namespace vantry {

/// A version and the number of its build.
struct VersionInfo {
    std::string version;
    std::string buildNumber;
};

// The group "Product Info": what the printer runs on. Its properties are not saved.

void AddProductInfo(PropertyCatalog& store, const VersionInfo& os);
void AddQtRuntimeInfo(PropertyCatalog& store, const VersionInfo& qt);
void AddQtCommonInfo(PropertyCatalog& store, const VersionInfo& qt);

}  // namespace vantry
