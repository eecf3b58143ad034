#pragma once

#include <cstdint>

namespace vantry {

/// The TCP port that the hub listens on, and that clients connect to, if no other is configured.
inline constexpr std::uint16_t kHubPort = 9102;

}  // namespace vantry
