#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model.h"

namespace vantry::simulation {

/// What the programs of one round share.
struct Round {
    World& world;
    Model& model;
    /// Set when each subscriber must have heard everything.
    bool allHeard = false;
    /// Whether the hub may end connections, because it is being stopped.
    bool hubEnds = false;
    /// How often a component was about to report for the last time before a silence.
    std::uint64_t rests = 0;
    std::uint32_t senders = 0;
    std::uint32_t running = 0;
};

/// Starts a program for a peer: what it does is random. It ends when its peer has ended.
void StartProgram(Round& round, std::uint32_t number);
/// Starts a program that waits until the hub listens, and connects and asks at once. Called before
/// the hub starts.
void StartEarlyReader(Round& round, std::uint32_t number);

}  // namespace vantry::simulation
