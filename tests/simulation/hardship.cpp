#include "hardship.h"

#include <array>

#include "platform/limits.h"
#include "runtime/clock.h"

namespace vantry::simulation {
namespace {

constexpr std::uint64_t kLongestMilliseconds = 1'500;
constexpr std::uint64_t kRefusedOneIn = 4;
/// Less than an answer with everything, which a client then has to read before it is served again.
constexpr std::uint64_t kLittleOutput = 10'000;

/// Bounds that a few honest peers nearly reach and a hostile one exceeds.
Limits TightLimits(Random& random) {
    Limits limits;
    limits.Set(Bound::Connections, 1 + random.Below(4));
    limits.Set(Bound::TextReceived, 2'000 + random.Below(100'000));
    limits.Set(Bound::LargeTexts, 1);
    limits.Set(Bound::DemandingMessages, 1);
    limits.Set(Bound::Answer, 4'000 + random.Below(40'000));
    limits.Set(Bound::Answers, 8'000 + random.Below(80'000));
    limits.Set(Bound::Output, 2'000 + random.Below(40'000));
    limits.Set(Bound::Outputs, 4'000 + random.Below(80'000));
    limits.Set(Bound::Properties, 2 + random.Below(8));
    limits.Set(Bound::AllProperties, 4 + random.Below(12));
    limits.Set(Bound::PropertyText, 300 + random.Below(4'000));
    limits.Set(Bound::Subscriptions, 2 + random.Below(8));
    limits.Set(Bound::AllSubscriptions, 4 + random.Below(16));
    limits.Set(Bound::EndedPeers, 1 + random.Below(3));
    return limits;
}

}  // namespace

Hardship HardshipOf(const World& world) {
    Random random(world.settings.seed * 2 + 11 + world.legacy.life * 131);
    // A disk can fail in more ways than the others.
    constexpr std::array<Hardship, 9> kChoices = {
        Hardship::None, Hardship::None,        Hardship::None,    Hardship::None,  Hardship::Disk,
        Hardship::Disk, Hardship::Descriptors, Hardship::Threads, Hardship::Bounds};
    return kChoices[random.Below(kChoices.size())];
}

bool KeepsLittleForLocalClients(const World& world) {
    return Random(world.settings.seed * 2 + 13 + world.legacy.life * 137).OneIn(4);
}

void Impose(World& world, Hardship hardship) {
    Random& random = world.random;
    Limits limits = hardship == Hardship::Bounds ? TightLimits(random) : Limits();
    if (KeepsLittleForLocalClients(world)) {
        limits.Set(Bound::LocalOutput, kLittleOutput);
    }
    world.platform.SetLimits(limits);
    switch (hardship) {
        case Hardship::Disk:
            world.disk->SetRefused(random.OneIn(3) ? kRefusedOneIn : 0);
            break;
        case Hardship::Descriptors:
            // Half of the machines have too few for the output flusher or the listener.
            world.descriptors.SetMostOpen(world.descriptors.CountOpen() +
                                          random.Below(random.OneIn(2) ? 3 : 12));
            break;
        case Hardship::Threads:
            world.scheduler.SetThreadsRefused(2 + random.Below(12));
            break;
        case Hardship::Bounds:
        case Hardship::None:
            break;
    }
}

bool MayBeCut(Hardship hardship, bool isExternal) {
    return hardship == Hardship::Threads ||
           (isExternal && (hardship == Hardship::Descriptors || hardship == Hardship::Bounds));
}

void PlayBadDisk(World& world) {
    Random& random = world.random;
    const auto pass = [&] {
        world.scheduler.Sleep(random.Below(kLongestMilliseconds) * kNanosecondsPerMillisecond);
    };
    for (std::uint64_t times = 1 + random.Below(4); times != 0; --times) {
        switch (random.Below(4)) {
            case 0:
                // Some saves succeed. The rest of one that has begun is likely to fail, and so is
                // the next.
                for (std::uint64_t saves = 1 + random.Below(4); saves != 0; --saves) {
                    world.disk->AwaitHalfWrite(kFile,
                                               kLongestMilliseconds * kNanosecondsPerMillisecond);
                }
                world.disk->SetRefused(1 + random.Below(2));
                break;
            case 1:
                // A save that fails is likely to succeed the next time.
                world.disk->SetTorn(2 + random.Below(4));
                break;
            case 2:
                pass();
                world.disk->SetRefused(kRefusedOneIn);
                break;
            default:
                pass();
                world.disk->SetRoom(world.disk->Used() + random.Below(200));
        }
        pass();
        world.disk->SetRefused(0);
        world.disk->SetTorn(0);
        world.disk->SetRoom(SimulatedDisk::kUnlimited);
    }
}

}  // namespace vantry::simulation
