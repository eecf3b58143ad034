#pragma once

#include <array>

#include "wire/vocabulary/named_guid.h"

namespace vantry {

/// A debug zone and the initial value of its flag.
struct DebugZoneName {
    NamedGuid property;
    bool initiallyOn;
};

/// The debug zones that have a property, in the order of their flags.
inline constexpr std::array<DebugZoneName, 17> kDebugZones = {
    {{{"Enable Error Debug Zone", "7768EEBB-FFC6-400A-986E-9FBE409FCB86"}, true},
     {{"Enable Warning Debug Zone", "22EB0B47-601A-45AB-A506-E379E2C8833F"}, true},
     {{"Enable Info Debug Zone", "8D6BC3E1-3943-4E0D-97E7-601690F93C1E"}, false},
     {{"DebugZoneProperty", "B1D20790-2816-438F-ABFA-A72D9FEA1964"}, false},
     {{"DebugZonePropertyWarning", "F9E48F35-D625-4015-89F8-10F5FC3C6D27"}, true},
     {{"Debug Zone DeInit", "2C356A8C-215F-4AE5-9604-1198D7C563C9"}, false},
     {{"Debug Zone ZOLK", "E61A6BE6-42F5-4EF9-84F0-3030263CCE3F"}, false},
     {{"DebugZoneUsb", "6B6CE145-7E20-4AB8-8D2E-3B3683CA2BDC"}, false},
     {{"DebugZonePrintJob", "A45C7820-29AC-4882-A880-ADD699C825FB"}, false},
     {{"DebugZoneBattery", "38F80DB6-1923-43CB-A706-7E67BA8D2088"}, false},
     {{"DebugZoneRamp", "1ACE8409-C525-41D7-89F7-023AD44BBA72"}, false},
     {{"DebugZoneInit", "48EB170C-B730-4B60-851C-0ACF68AB5A59"}, false},
     {{"Debug Zone Manufacturing", "3CB08E5C-CCE4-4019-AD59-64C4975E7B0D"}, false},
     {{"LeakTracking", "33DA4993-F121-42F3-A92F-A9B6CE41C45B"}, false},
     {{"ThreadIds", "93840CDA-7763-4E68-A89B-9FE743520DA2"}, true},
     {{"DebugZoneZql", "187820B9-D046-4CC0-8E5C-00A0FA5CB411"}, false},
     {{"DebugZoneBT", "70B0AF8B-0344-4EEE-9ECA-29A018FC3ABF"}, false}}};

/// The zone that is always on and has no property. Nothing in the hub uses it; it completes the
/// list of names.
inline constexpr NamedGuid kUnregisteredDebugZone{"Debug Zone SQA Monitor",
                                                  "6A7D44F9-B3BD-4029-A6DF-1240647D2758"};

}  // namespace vantry
