#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <memory>

#include "property/property.h"
#include "wire/vocabulary/debug_zones.h"

namespace vantry {

/// The flags of the debug zones, in the order of kDebugZones. They live as long as the process, so
/// they keep their values when the hub stops and starts again. Nothing in the hub reads them;
/// people see and set them through their properties. Any thread may read and write them.
struct DebugZoneFlags {
    static std::array<std::atomic<bool>, kDebugZones.size()> flags;
};

/// Creates a BoolProperty for each zone, in order, and passes it to `registerProperty`, which
/// becomes an owner of it and may restore its value quietly. The flag then has the value of the
/// property and follows its changes.
void RegisterDebugZones(
    const std::function<void(const std::shared_ptr<Property>&)>& registerProperty);

}  // namespace vantry
