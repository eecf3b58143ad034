#pragma once

#include <cstdint>

namespace vantry {

/// How long the publishing thread waits between two looks at what has changed.
inline constexpr std::uint32_t kPublishTickMilliseconds = 250;

}  // namespace vantry
