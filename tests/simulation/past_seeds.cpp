#include "simulation/past_seeds.h"

#include <array>

namespace vantry::simulation {
namespace {

constexpr std::array<std::uint64_t, 1> kSeeds = {1};

}  // namespace

const std::span<const std::uint64_t> kPastSeeds = kSeeds;

}  // namespace vantry::simulation
