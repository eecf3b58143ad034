#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <memory>

#include "property/property.h"
#include "wire/vocabulary/debug_zones.h"

namespace vantry {

/// The flags of the debug zones, in the order of kDebugZones. They live as long as the process and
/// keep their last values over a stop of the hub. Nothing in the hub reads them: they are there
/// for people, through their properties.
struct DebugZoneFlags {
    static std::array<std::atomic<bool>, kDebugZones.size()> flags;
};

/// Makes the switches of all zones, in order, and gives each to `registerProperty`, which may
/// restore its value quietly. From then on a flag follows its switch.
void RegisterDebugZones(
    const std::function<void(const std::shared_ptr<Property>&)>& registerProperty);

}  // namespace vantry
