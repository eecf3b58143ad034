#pragma once

#include <cstdint>

namespace vantry {

constexpr std::uint64_t kNanosecondsPerMillisecond = 1'000'000;

/// Time of a monotonic clock in nanoseconds, from an origin that means nothing.
std::uint64_t NowNanoseconds();

}  // namespace vantry
