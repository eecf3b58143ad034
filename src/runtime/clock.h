#pragma once

#include <cstdint>

namespace vantry {

constexpr std::uint64_t kNanosecondsPerMillisecond = 1'000'000;

/// Returns the time of the monotonic clock in nanoseconds. Its origin is arbitrary, so only
/// differences have a meaning. Any thread may call it; it doesn't block.
std::uint64_t NowNanoseconds();

}  // namespace vantry
