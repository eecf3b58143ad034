#pragma once

#include <atomic>
#include <cstdint>

namespace vantry {

/// How many objects of the three kinds that a clean unload must leave none of are alive in this
/// process. Base constructors add one, base destructors take one away; any thread may read.
struct LiveObjectCounters {
    static inline std::atomic<std::uint32_t> threads{0};
    static inline std::atomic<std::uint32_t> eventFlags{0};
    static inline std::atomic<std::uint32_t> properties{0};

    static bool AllZero() { return threads == 0 && eventFlags == 0 && properties == 0; }
};

}  // namespace vantry
