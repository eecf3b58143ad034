#pragma once

#include <cstdint>
#include <span>

namespace vantry::simulation {

/// The seeds that failed once. The scenario defines them.
extern const std::span<const std::uint64_t> kPastSeeds;

}  // namespace vantry::simulation
