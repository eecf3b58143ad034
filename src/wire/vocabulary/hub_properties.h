#pragma once

#include "wire/vocabulary/named_guid.h"

namespace vantry {

/// The properties that the hub itself owns, sorted by group, without the debug zones.
struct HubProperties {
    // General
    static constexpr NamedGuid kPublishingPeriod{"Property Publishing Period in ms",
                                                 "DA821DC5-948D-4659-9B52-177E4C102129"};
    static constexpr NamedGuid kUsbPrnTxTimeout{"UsbPrnTxTimeout",
                                                "89AA005C-DF51-4D79-87DE-DAFCD8E559CC"};
    static constexpr NamedGuid kErrorLogFileName{"Error Log File Name",
                                                 "32244D1F-E72E-4F42-A4DE-CAB2C6AF88A9"};
    static constexpr NamedGuid kLoadProperties{"Load Properties",
                                               "0D9B0F83-2282-4728-A78E-FE2FF4E3A13C"};
    static constexpr NamedGuid kStoreProperties{"Store Properties",
                                                "DDF2926A-0A65-4196-88FE-5858BC957E0B"};
    static constexpr NamedGuid kNameOfPropertyFile{"Name of Property File",
                                                   "CD31503F-4949-40E1-BA2C-B2A88CF420F0"};
    static constexpr NamedGuid kNameOfPropertyOverrideFile{"Name of Property Override File",
                                                           "C8B8886D-A101-47A9-BC60-477938C53648"};

    // Error
    static constexpr NamedGuid kPropertyLoadingError{"Property Loading Error",
                                                     "A32AFFED-7C37-47FE-80DB-B21875E226BD"};

    // Product Info
    static constexpr NamedGuid kFirmwareVersion{"Firmware Version",
                                                "ACEB1224-1DAF-42A2-BBAA-4678D5D3C8DA"};
    static constexpr NamedGuid kFirmwareBuildNumber{"Firmware Build Number",
                                                    "DFB7462A-E1F1-4156-BCFB-A9B878F7FBFF"};
    static constexpr NamedGuid kSdkOsVersion{"SDK OS Version",
                                             "FA426F31-23B3-453B-97B5-DA3089F7FDD4"};
    static constexpr NamedGuid kSdkVersion{"SDK Version", "593A2CCB-2B05-4F92-B018-0AAEFA6BC74D"};
    static constexpr NamedGuid kOsVersion{"OS Version", "4D682060-3227-4837-909E-6C71F00FA986"};
    static constexpr NamedGuid kOsBuildNumber{"OS Build Number",
                                              "774DBE74-CAB4-4894-9E02-D58D3BEB45E4"};
    static constexpr NamedGuid kQtRuntimeLibsVersion{"Qt Runtime Libs Version",
                                                     "935E7332-AF38-406E-B881-9F4BC8478788"};
    static constexpr NamedGuid kQtRuntimeLibsBuildNumber{"Qt Runtime Libs Build Number",
                                                         "B55FF9F9-8C7D-4B26-8DF5-704C8EBFF2F1"};
    static constexpr NamedGuid kQtCommonModulesVersion{"Qt Common Modules Version",
                                                       "F144C4E0-D411-421F-9F87-DA8C9D585361"};
    static constexpr NamedGuid kQtCommonModulesBuildNumber{"Qt Common Modules Build Number",
                                                           "696F8B22-BB63-4B71-8A22-0FE31EAD4639"};

    // Components
    static constexpr NamedGuid kOwnComponent{"Vantry", "955CFDC2-8EA6-478E-A927-7C870022EA03"};
};

}  // namespace vantry
