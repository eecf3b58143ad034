#pragma once

#include <atomic>
#include <cstdint>

namespace vantry {

/// Counts the live objects of three kinds in this process. The hub has unloaded cleanly if none is
/// left. The constructors of the base classes increment the counters and their destructors
/// decrement them. Any thread may read them.
struct LiveObjectCounters {
    static inline std::atomic<std::uint32_t> threads{0};
    static inline std::atomic<std::uint32_t> eventFlags{0};
    static inline std::atomic<std::uint32_t> properties{0};

    static bool AllZero() { return threads == 0 && eventFlags == 0 && properties == 0; }
};

}  // namespace vantry
