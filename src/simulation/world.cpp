// One life of the simulated machine. Each life is a process of its own, because a loss of power
// must leave no memory behind. What outlives it, the disk and a few numbers, stands in memory that
// the processes share, as plain bytes.

#include "simulation/world.h"

#include <sys/single_threaded.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "simulation/races.h"

namespace vantry::simulation {
namespace {

World* existing = nullptr;

constexpr std::uint64_t kLifeStep = 0x51ED270B;

}  // namespace

void Legacy::SetDisk(const SimulatedDisk::Image& image) {
    std::string all;
    const auto append = [&](const void* bytes, std::size_t count) {
        const auto length = static_cast<std::uint32_t>(count);
        all.append(reinterpret_cast<const char*>(&length), sizeof length);
        all.append(static_cast<const char*>(bytes), count);
    };
    for (const auto& [name, content] : image) {
        append(name.data(), name.size() * sizeof(char16_t));
        append(content.data(), content.size());
    }
    if (all.size() > disk.size()) {
        Scheduler::Current().Fail("the disk of the simulation is full");
    }
    all.copy(disk.data(), all.size());
    diskBytes = static_cast<std::uint32_t>(all.size());
}

SimulatedDisk::Image Legacy::Disk() const {
    SimulatedDisk::Image image;
    const char* at = disk.data();
    const auto take = [&] {
        std::uint32_t length = 0;
        std::memcpy(&length, at, sizeof length);
        std::string bytes(at + sizeof length, length);
        at += sizeof length + length;
        return bytes;
    };
    while (at != disk.data() + diskBytes) {
        const std::string name = take();
        std::u16string wide(name.size() / sizeof(char16_t), u'\0');
        std::memcpy(wide.data(), name.data(), name.size());
        image[wide] = take();
    }
    return image;
}

World::World(const RunSettings& runSettings, Legacy& fromBefore)
    : settings(runSettings),
      legacy(fromBefore),
      random(runSettings.seed * 2 + 7 + fromBefore.life * kLifeStep),
      scheduler(runSettings, runSettings.seed + fromBefore.life * kLifeStep),
      descriptors(runSettings.seed + fromBefore.life * kLifeStep),
      disk(std::make_shared<SimulatedDisk>(runSettings.seed + fromBefore.life * kLifeStep,
                                           fromBefore.Disk())),
      platform(disk, descriptors),
      devices(descriptors, platform) {
    existing = this;
    // Otherwise shared pointers count without atomic operations, as there is one real thread.
    __libc_single_threaded = 0;
    platform.notices.SetSink([this](std::string_view line) {
        const OutsideHub here;
        scheduler.Trace(line);
    });
}

World::~World() { existing = nullptr; }

void World::NoteEnd() {
    legacy.nanoseconds += scheduler.Now() - Scheduler::kStart;
    legacy.points += scheduler.Steps();
}

void World::EndLife(const SimulatedDisk::Image& left) {
    scheduler.Trace("the machine ends");
    NoteEnd();
    legacy.SetDisk(left);
    legacy.another = true;
    std::fflush(stdout);
    _Exit(0);
}

}  // namespace vantry::simulation

vantry::Platform* VantryPlatform() { return &vantry::simulation::existing->platform; }
