#pragma once

#include <atomic>
#include <cstdint>

namespace vantry {

/// What the running hub shows of itself to the program around it. The hub writes, any thread may
/// read.
struct HubStatus {
    /// Sessions that are being served, of all links and of the local device.
    std::atomic<std::uint32_t> clients{0};
    /// Properties of the hub and of components.
    std::atomic<std::uint32_t> properties{0};
    /// Grows by one with each turn of the publishing thread: while it grows, the hub is alive.
    std::atomic<std::uint64_t> publishingTurns{0};
};

}  // namespace vantry
