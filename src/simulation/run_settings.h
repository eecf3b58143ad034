#pragma once

#include <cstdint>

namespace vantry::simulation {

/// What one run is: a seed, and bounds by which a failing run is made smaller.
struct RunSettings {
    std::uint64_t seed = 1;
    /// How many peers the run has at most.
    std::uint32_t peers = 8;
    /// How many messages each peer sends at most.
    std::uint32_t messages = 12;
    /// How often a thread that could go on is interrupted at most.
    std::uint32_t switches = 1'000'000'000;
    /// Whether every step is written to standard output.
    bool trace = false;
    /// Whether a report is the reason alone.
    bool brief = false;
};

}  // namespace vantry::simulation
