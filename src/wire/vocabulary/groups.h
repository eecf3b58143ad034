#pragma once

#include <array>

#include "wire/vocabulary/named_guid.h"

namespace vantry {

/// The groups of properties. The pair of group GUID and property GUID identifies a property.
struct Groups {
    static constexpr NamedGuid kGeneral{"General", "99A61D40-20CE-41EA-A579-EB92C6ED94C6"};
    static constexpr NamedGuid kTest{"Test", "1DA0F09B-E894-45D3-A50D-3E05463D2E9C"};
    static constexpr NamedGuid kPerformance{"Performance", "68748D58-58EE-4E17-AC25-8C35B01AFE07"};
    static constexpr NamedGuid kError{"Error", "2EBF9DEF-D51C-47FE-935E-5EDCC530B867"};
    static constexpr NamedGuid kUserError{"User Error", "3423DD8F-23D7-44C7-A6DA-01ED76A7A544"};
    static constexpr NamedGuid kPrinterError{"Printer Error",
                                             "8731C104-D28B-4819-8D2E-548758FE7B75"};
    static constexpr NamedGuid kPrintOperations{"Print Operations",
                                                "6883533A-B81A-40AD-8F1A-722A99A3AB41"};
    static constexpr NamedGuid kGPIO{"GPIO", "601E34F4-3C8B-4522-9319-546401361120"};
    static constexpr NamedGuid kAllJobsGroup{"All Jobs Group",
                                             "D3BDA7E5-BDC4-46E4-85F9-286A2602048D"};
    static constexpr NamedGuid kMotors{"Motors", "72E4A48E-F7D3-44AE-96D4-271C9A1FE0E1"};
    static constexpr NamedGuid kDebugZone{"Debug Zone", "E96B0063-C2EF-4545-92E1-AC4990BA1B37"};
    static constexpr NamedGuid kSubstratePrinterProperties{"Substrate Printer Properties",
                                                           "41B87577-BD88-48CE-BF21-BF5A6BFC9FE3"};
    static constexpr NamedGuid kRibbonPrinterProperties{"Ribbon Printer Properties",
                                                        "CC359C57-F0F2-44E3-9940-3F1BFF1685BC"};
    static constexpr NamedGuid kStrobes{"Strobes", "CC1ABC43-E785-4095-BD71-BB3848605A2F"};
    static constexpr NamedGuid kSensors{"Sensors", "694B9450-3986-4D7C-AF84-4812A9423FAA"};
    static constexpr NamedGuid kSensorThreshold{"Sensor Threshold",
                                                "D8149473-E465-4290-90EF-EBE154A58499"};
    static constexpr NamedGuid kSensorIntensity{"Sensor Intensity",
                                                "49B86511-4A2D-4845-87B4-3033B2D9ECBB"};
    static constexpr NamedGuid kCalibration{"Calibration", "89BDA5E0-E695-4DCA-8D66-A5EDD0E8307A"};
    static constexpr NamedGuid kCalibrationRoutine{"Calibration Routine",
                                                   "1EA58905-4E59-4441-A91B-36D4C7042365"};
    static constexpr NamedGuid kStall{"Stall", "93101590-86EC-4990-A5C6-B27B3C26A3D0"};
    static constexpr NamedGuid kMaximum{"Maximum", "F53DF7FD-C8AC-46FA-8493-182525517909"};
    static constexpr NamedGuid kMinimum{"Minimum", "AF70B64E-77A4-4AC5-BF86-48CAAEC69233"};
    static constexpr NamedGuid kPrintEnergy{"Print Energy", "6E6CC322-35C8-446F-A612-B9AE0850F9E9"};
    static constexpr NamedGuid kCompliance{"Compliance", "5F9D604A-2466-4291-9B40-72BED82DC79C"};
    static constexpr NamedGuid kComponents{"Components", "ADC1E631-2C12-4267-B128-95830EC9857D"};
    static constexpr NamedGuid kAllAdaptersGroup{"All Adapters Group",
                                                 "8D8870D4-F44C-4A4F-9ED8-BF5EA1412505"};
    static constexpr NamedGuid kAllSSIDsGroup{"All SSIDs Group",
                                              "336262AF-3FEE-4F46-B970-61A1B93A36C3"};
    static constexpr NamedGuid kDisplayPreferences{"Display Preferences",
                                                   "42A35D75-EA59-4012-8996-8813760C353A"};
    static constexpr NamedGuid kPrintingPreferences{"Printing Preferences",
                                                    "B29B76CD-9926-4475-8767-3FB151CF1AC9"};
    static constexpr NamedGuid kManualPrintQueue{"Manual Print Queue",
                                                 "BC381488-E486-4480-975D-3D72FCAF554D"};
    static constexpr NamedGuid kRemoteControlProtocol{"Remote Control Protocol",
                                                      "CA68A5D4-EF69-458A-9D35-AB0F12BFE938"};
    static constexpr NamedGuid kManufacturing{"Manufacturing",
                                              "C6CA6508-8FBD-4723-97B0-F857707B99B3"};
    static constexpr NamedGuid kBluetooth{"Bluetooth", "91A05C78-FBF2-4387-A3DF-2B2EA87D39C5"};
    static constexpr NamedGuid kBattery{"Battery", "FDA4C5D4-8C46-45E5-80E4-48504451C7B5"};
    static constexpr NamedGuid kProductInfo{"Product Info", "222D688A-1554-4C0E-B7A0-0BC377EF4071"};
    static constexpr NamedGuid kTrackOperation{"Track Operation",
                                               "25E16A25-8F77-4F52-9242-2B4B81561EF5"};

    static constexpr std::array kAll = {kGeneral,
                                        kTest,
                                        kPerformance,
                                        kError,
                                        kUserError,
                                        kPrinterError,
                                        kPrintOperations,
                                        kGPIO,
                                        kAllJobsGroup,
                                        kMotors,
                                        kDebugZone,
                                        kSubstratePrinterProperties,
                                        kRibbonPrinterProperties,
                                        kStrobes,
                                        kSensors,
                                        kSensorThreshold,
                                        kSensorIntensity,
                                        kCalibration,
                                        kCalibrationRoutine,
                                        kStall,
                                        kMaximum,
                                        kMinimum,
                                        kPrintEnergy,
                                        kCompliance,
                                        kComponents,
                                        kAllAdaptersGroup,
                                        kAllSSIDsGroup,
                                        kDisplayPreferences,
                                        kPrintingPreferences,
                                        kManualPrintQueue,
                                        kRemoteControlProtocol,
                                        kManufacturing,
                                        kBluetooth,
                                        kBattery,
                                        kProductInfo,
                                        kTrackOperation};

    /// The groups that external peers may read, besides the groups of jobs.
    static constexpr std::array kExternal = {kError,
                                             kUserError,
                                             kPrinterError,
                                             kAllJobsGroup,
                                             kSubstratePrinterProperties,
                                             kRibbonPrinterProperties,
                                             kBattery,
                                             kProductInfo};
};

}  // namespace vantry
