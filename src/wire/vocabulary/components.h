#pragma once

#include <array>

#include "wire/vocabulary/named_guid.h"

namespace vantry {

/// The components of the printer, which own properties. The hub looks none of them up, because each
/// message of a component holds its GUID and its name; `vantry announce` does.
struct Components {
    static constexpr NamedGuid kFirmwareDriver{"Firmware Driver",
                                               "B80EB2EA-4F49-423A-875C-8ACB1ACB9734"};
    static constexpr NamedGuid kEditor{"Editor", "D3997F5A-EBEA-46EC-AE7C-026E45702086"};
    static constexpr NamedGuid kVantry{"Vantry", "955CFDC2-8EA6-478E-A927-7C870022EA03"};
    static constexpr NamedGuid kDoravelAndApps{"Doravel and Apps",
                                               "9829BC5B-6892-46DB-A8AA-A6FEAB588255"};
    static constexpr NamedGuid kSystemManager{"System Manager",
                                              "B499359B-D1A1-4F3A-A41E-6700559656C4"};
    static constexpr NamedGuid kUpgrader{"Upgrader", "3E37CE0F-1D34-4F4A-A819-128998F5D8EC"};
    static constexpr NamedGuid kUpgradeUI{"Upgrade UI", "38D1431E-6153-4773-8A5C-7BCA173263F7"};
    static constexpr NamedGuid kNetworkConfigManager{"Network Config Manager",
                                                     "7B72F275-4D29-42A2-97F2-CBC2FCDD633E"};
    static constexpr NamedGuid kPrintSpooler{"Print Spooler",
                                             "90AF7DE7-6DB1-45AF-A46F-C66605612E61"};
    static constexpr NamedGuid kJobHandler{"Job Handler", "15C182D3-7F25-40AE-AF4E-36DAAD1DA4A4"};
    static constexpr NamedGuid kRolwayRunner{"Rolway Runner",
                                             "ABDF8FAE-582B-4FCE-A957-EBC5A89DBBA7"};
    static constexpr NamedGuid kComplianceHelper{"Compliance Helper",
                                                 "5019BDF3-9B6D-4582-B5D3-80C48D336D5A"};
    static constexpr NamedGuid kBluetoothModule{"BluetoothModule",
                                                "425C8FBE-B325-4F68-AB07-D1B2DDC0DC49"};

    static constexpr std::array kAll = {
        kFirmwareDriver, kEditor,     kVantry,       kDoravelAndApps,
        kSystemManager,  kUpgrader,   kUpgradeUI,    kNetworkConfigManager,
        kPrintSpooler,   kJobHandler, kRolwayRunner, kComplianceHelper,
        kBluetoothModule};
};

}  // namespace vantry
