#pragma once

#include <cstdint>

#include "simulation/world.h"

namespace vantry::simulation {

/// The property file.
inline constexpr char16_t kFile[] = u"/Store/VantryProperties.ini";

/// What the machine of a life lacks. Half of the lives lack nothing.
enum class Hardship { None, Disk, Descriptors, Threads, Bounds };

/// Returns what the seed decides for this life.
Hardship HardshipOf(const World& world);

/// Returns whether the hub keeps little output for a local client in this life, so that it may cut
/// local subscribers.
bool KeepsLittleForLocalClients(const World& world);

/// Prepares the machine for both, before the hub starts.
void Impose(World& world, Hardship hardship);

/// Returns whether the hub may end a connection, or not serve it well, because of it.
bool MayBeCut(Hardship hardship, bool isExternal);

/// Lets the disk refuse calls, or be full, for some random times. Returns when it is well again.
void PlayBadDisk(World& world);

}  // namespace vantry::simulation
