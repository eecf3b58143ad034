#pragma once

#include <atomic>
#include <cstdint>

namespace vantry {

/// Figures that the running hub publishes for the program around it. The hub writes them; any
/// thread may read them.
struct HubStatus {
    /// The number of running sessions, of all links and of the local device.
    std::atomic<std::uint32_t> clients{0};
    /// The number of properties of the hub and of components.
    std::atomic<std::uint32_t> properties{0};
    /// The number of periods that the publishing thread has finished. While it grows, the hub is
    /// working.
    std::atomic<std::uint64_t> publishingTurns{0};
};

}  // namespace vantry
