#include "simulation/past_seeds.h"

#include <array>

namespace vantry::simulation {
namespace {

// Those that found a fault of the hub or of the model, or were the first to find a planted one.
// What a seed does changes with the programs, so a fault that was mended has a test of its own as
// well.
constexpr std::array<std::uint64_t, 46> kSeeds = {
    1,   2,   3,   4,   5,   9,   10,  11,  13,   16,     18,     21,     22,      24,     25,  26,
    28,  36,  40,  46,  49,  53,  57,  62,  85,   98,     106,    120,    128,     151,    153, 156,
    165, 175, 178, 191, 197, 232, 277, 309, 1484, 100001, 100027, 100029, 2002435, 3000011};

}  // namespace

const std::span<const std::uint64_t> kPastSeeds = kSeeds;

}  // namespace vantry::simulation
