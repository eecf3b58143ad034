#pragma once

#include <array>
#include <cstdint>

#include "platform/platform.h"
#include "simulation/random.h"
#include "simulation/run_settings.h"
#include "simulation/scheduler.h"
#include "simulation/simulated_descriptors.h"
#include "simulation/simulated_devices.h"
#include "simulation/simulated_disk.h"

namespace vantry::simulation {

/// What one life of the machine leaves to the next: the disk, and what the scenario knows. It is in
/// memory that the processes of all lives share, so it holds no pointers.
struct Legacy {
    std::uint32_t life = 0;
    bool another = false;
    std::uint32_t diskBytes = 0;
    /// What the lives of this seed took: virtual time, and points where another thread could go on.
    std::uint64_t nanoseconds = 0;
    std::uint64_t points = 0;
    std::array<char, 1U << 20U> disk{};
    std::array<std::uint64_t, 512> memory{};

    /// These store the files of a disk, and return those stored last.
    void SetDisk(const SimulatedDisk::Image& image);
    SimulatedDisk::Image Disk() const;
};

/// A simulated machine with the hub's platform on it. One exists at a time in a process, and the
/// hub of the process uses it.
class World {
public:
    World(const RunSettings& runSettings, Legacy& fromBefore);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// Adds what this life took to the legacy.
    void NoteEnd();
    /// Ends this life of the machine, at once and whatever the threads are doing. The next life
    /// begins with these files.
    [[noreturn]] void EndLife(const SimulatedDisk::Image& left);

    const RunSettings settings;
    Legacy& legacy;
    /// The random numbers of the scenario.
    Random random;
    Scheduler scheduler;
    SimulatedDescriptors descriptors;
    const std::shared_ptr<SimulatedDisk> disk;
    Platform platform;
    SimulatedDevices devices;
};

/// Plays one life on the machine, as its first thread. The scenario defines it.
void PlayLife(World& world);

}  // namespace vantry::simulation
