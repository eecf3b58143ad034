#pragma once

#include <cstdint>

namespace vantry {

/// The length of a tick: the publishing thread collects changes once in this time.
inline constexpr std::uint32_t kPublishTickMilliseconds = 250;

}  // namespace vantry
