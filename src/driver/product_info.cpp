#include "driver/product_info.h"

#include "property/property_factories.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry {
namespace {

constexpr char kFirmwareVersion[] = "1.1.153310";
constexpr char kFirmwareBuildNumber[] = "153310";
constexpr char kSdkVersion[] = "2.7.107511";
constexpr char kSdkOsVersion[] = "Windows Embedded Compact 2013 - 8.4.6270.0";

void Add(PropertyCatalog& store, const NamedGuid& property, const std::string& value) {
    store.AddProperty(MakeStringProperty(value, IdentityOf(property, Groups::kProductInfo)));
}

void AddConstant(PropertyCatalog& store, const NamedGuid& property, const char* value) {
    store.AddProperty(
        MakeStringPropertyFromLiteral(value, IdentityOf(property, Groups::kProductInfo)));
}

}  // namespace

void AddProductInfo(PropertyCatalog& store, const VersionInfo& os) {
    Add(store, HubProperties::kOsVersion, os.version);
    Add(store, HubProperties::kOsBuildNumber, os.buildNumber);
    AddConstant(store, HubProperties::kFirmwareVersion, kFirmwareVersion);
    AddConstant(store, HubProperties::kFirmwareBuildNumber, kFirmwareBuildNumber);
    AddConstant(store, HubProperties::kSdkVersion, kSdkVersion);
    AddConstant(store, HubProperties::kSdkOsVersion, kSdkOsVersion);
}

void AddQtRuntimeInfo(PropertyCatalog& store, const VersionInfo& qt) {
    Add(store, HubProperties::kQtRuntimeLibsVersion, qt.version);
    Add(store, HubProperties::kQtRuntimeLibsBuildNumber, qt.buildNumber);
}

void AddQtCommonInfo(PropertyCatalog& store, const VersionInfo& qt) {
    Add(store, HubProperties::kQtCommonModulesVersion, qt.version);
    Add(store, HubProperties::kQtCommonModulesBuildNumber, qt.buildNumber);
}

}  // namespace vantry
