#pragma once

#include <cstdint>

namespace vantry::simulation {

/// A sequence of numbers that a seed decides, the same on every machine (SplitMix64). Belongs to
/// one simulation.
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    std::uint64_t Next() {
        state += 0x9E3779B97F4A7C15;
        std::uint64_t mixed = state;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return mixed ^ (mixed >> 31);
    }
    /// Returns a number from 0 on below `bound`, which isn't 0.
    std::uint64_t Below(std::uint64_t bound) { return Next() % bound; }
    /// Returns true once in `times` times on average, never if `times` is 0.
    bool OneIn(std::uint64_t times) { return times != 0 && Below(times) == 0; }

private:
    std::uint64_t state;
};

}  // namespace vantry::simulation
