// One life of the machine: the hub starts, peers come and go in rounds, and the hub stops, is
// replaced, is killed or loses its power.

#include <algorithm>

#include "driver/exports.h"
#include "programs.h"
#include "runtime/clock.h"
#include "runtime/live_object_counters.h"
#include "simulation/races.h"

namespace vantry::simulation {
namespace {

constexpr char16_t kMarker[] = u"/DriverUnloadSuccessful";

/// How a round ends.
enum class Ending { Quiet, SecondInit, Stop, Kill, PowerCut };

/// Carries what is known of the saved property from life to life.
void Carry(World& world, const Saved& saved) {
    world.legacy.memory[0] = saved.sent;
    world.legacy.memory[1] = saved.onDisk;
    world.legacy.memory[2] = saved.inBackup;
}

class Life {
public:
    explicit Life(World& machine)
        : world(machine),
          hardship(HardshipOf(machine)),
          descriptorsBefore(machine.descriptors.CountOpen()),
          model(std::make_unique<Model>(machine, hardship)) {
        model->saved.sent = world.legacy.memory[0];
        model->saved.onDisk = world.legacy.memory[1];
        model->saved.inBackup = world.legacy.memory[2];
        model->saved.certain = model->saved.onDisk;
    }

    void Play() {
        Random& random = world.random;
        world.platform.settings.saves =
            world.settings.seed % 2 == 0 ? Saves::InPlace : Saves::Replace;
        static_cast<void>(world.disk->Delete(kMarker));
        Impose(world, hardship);
        StartHub();
        CheckSaved();
        for (std::uint64_t rounds = 1 + random.Below(2); rounds != 0; --rounds) {
            if (PlayRound()) {
                return;
            }
        }
        Stop();
    }

private:
    /// Starts the hub, or replaces it.
    void StartHub() {
        const std::uint64_t before = world.disk->Refusals();
        InHub([] { return PRN_Init(); });
        world.disk->SetFailing(false);
        diskWasGood = world.disk->Refusals() == before;
        if (diskWasGood) {
            model->saved.inBackup = model->saved.onDisk;
        }
    }

    /// Returns whether each value that was set surely is on the disk when the hub has had the time.
    bool SavesAtOnce() const {
        return hardship != Hardship::Threads && world.disk->Refusals() == 0;
    }

    /// Returns whether the hub was stopped.
    bool PlayRound() {
        auto round = std::make_unique<Round>(Round{world, *model});
        const std::uint64_t peers = 1 + world.random.Below(world.settings.peers);
        const auto ending = static_cast<Ending>(world.random.Below(8));
        for (std::uint32_t number = 0; number < peers; ++number) {
            StartProgram(*round, number);
        }
        const bool quiet = ending == Ending::Quiet || ending > Ending::PowerCut;
        if (hardship == Hardship::Disk) {
            ++round->running;
            world.scheduler.Start("disk", [this, shared = round.get()] {
                PlayBadDisk(world);
                --shared->running;
                world.scheduler.Wake(&shared->running);
            });
        }
        if (!quiet) {
            world.scheduler.Sleep(world.random.Below(3'000) * kNanosecondsPerMillisecond);
            EndAbruptly(ending, *round);
        }
        while (quiet && round->senders != 0) {
            world.scheduler.Wait("the senders to be done", &round->senders);
        }
        if (quiet) {
            world.scheduler.Trace("everything is sent");
            world.scheduler.Sleep(kQuietNanoseconds);
            if (SavesAtOnce()) {
                model->saved.onDisk = model->saved.certain;
            }
        }
        round->allHeard = true;
        while (round->running != 0) {
            world.scheduler.Wait("the programs to be done", &round->running);
        }
        if (!quiet) {
            if (!diskWasGood && ending == Ending::SecondInit) {
                ForgetUnsaved();
            }
            const Saved saved = model->saved;
            rounds.push_back(std::move(round));
            models.push_back(std::exchange(model, std::make_unique<Model>(world, hardship)));
            model->saved = saved;
            if (ending == Ending::Stop) {
                CheckStopped();
                return true;
            }
        } else {
            rounds.push_back(std::move(round));
        }
        return false;
    }

    void EndAbruptly(Ending ending, Round& round) {
        round.hubEnds = true;
        switch (ending) {
            case Ending::SecondInit:
                StartHub();
                break;
            case Ending::Kill:
                CarryAfterCut(world.disk->Now());
            case Ending::PowerCut:
                CarryAfterCut(world.disk->AfterPowerCut());
            default:
                StopHub();
        }
    }

    /// A file that was being overwritten is damaged, and the next life uses the copy.
    [[noreturn]] void CarryAfterCut(const SimulatedDisk::Image& left) {
        ForgetUnsaved();
        Carry(world, model->saved);
        world.EndLife(left);
    }

    /// Notes that what the last hub couldn't save is lost.
    void ForgetUnsaved() {
        if (world.platform.settings.saves == Saves::InPlace) {
            model->saved.onDisk = model->saved.inBackup;
        }
        model->saved.certain = model->saved.onDisk;
    }

    /// Stops the hub. What a disk that refuses meanwhile doesn't take is lost.
    void StopHub() {
        const std::uint64_t before = world.disk->Refusals();
        InHub([] { return PRN_Deinit(1); });
        diskWasGood = world.disk->Refusals() == before;
    }

    void Stop() {
        StopHub();
        CheckStopped();
    }

    void CheckStopped() {
        if (!LiveObjectCounters::AllZero() ||
            (diskWasGood && !world.disk->Now().contains(kMarker))) {
            world.scheduler.Fail("the hub has stopped and something of it is left");
        }
        if (world.descriptors.CountOpen() != descriptorsBefore) {
            world.scheduler.Fail("the hub has stopped and left descriptors open");
        }
        if (world.scheduler.Living() != 1) {
            world.scheduler.Fail("the hub has stopped and left a thread");
        }
        for (std::size_t resource = 0; resource < kResourceCount; ++resource) {
            if (world.platform.accounting->Total(static_cast<Resource>(resource)) != 0) {
                world.scheduler.Fail("the hub has stopped and counts what peers no longer use");
            }
        }
        if (world.platform.accounting->Connections() != 0) {
            world.scheduler.Fail("the hub has stopped and counts a connection");
        }
        CheckFile();
    }

    void CheckFile() {
        const SimulatedDisk::Image image = world.disk->Now();
        const auto file = image.find(u"/Store/VantryProperties.ini");
        const std::string text = file == image.end() ? "" : file->second;
        const std::size_t place = text.find("UsbPrnTxTimeout=");
        const std::uint64_t value = place == std::string::npos
                                        ? kSavedBase
                                        : std::strtoull(text.c_str() + place + 16, nullptr, 10);
        if (diskWasGood) {
            CheckSavedValue(value, model->saved.certain);
            model->saved.onDisk = value - kSavedBase;
        } else {
            ForgetUnsaved();
        }
        if (world.random.OneIn(3)) {
            Carry(world, model->saved);
            world.EndLife(image);
        }
    }

    void CheckSavedValue(std::uint64_t value, std::uint64_t least) {
        if (value < kSavedBase + least || value > kSavedBase + model->saved.sent) {
            world.scheduler.Fail("a saved value is lost: " + std::to_string(value) +
                                 " instead of " + std::to_string(kSavedBase + least) + " to " +
                                 std::to_string(kSavedBase + model->saved.sent));
        }
    }

    /// Reads the saved property after a start.
    void CheckSaved() {
        const std::shared_ptr<Peer> peer = Peer::Connect(world, Peer::Link::Local, "first client");
        peer->Send(std::string(R"({"PropertyGetRequests": [{)") + kSavedEntry + "}]}");
        if (const std::optional<std::string> text = peer->Receive(30'000)) {
            const ReceivedText read = model->Read(*peer, *text);
            const std::uint64_t value =
                std::strtoull(read.records.at(0).at("Value").c_str(), nullptr, 10);
            // Where the file can't be read, the hub uses the copy or its own value.
            const bool isRead = world.disk->Refusals() == 0;
            CheckSavedValue(value, isRead ? model->saved.onDisk : 0);
            if (isRead) {
                model->saved.certain = model->saved.onDisk = value - kSavedBase;
                model->saved.inBackup = model->saved.onDisk;
            }
        } else if (!model->MayBeCut(*peer)) {
            world.scheduler.Fail("the first client gets no answer");
        }
        peer->Close();
    }

    World& world;
    const Hardship hardship;
    /// Those of the machine itself.
    const std::size_t descriptorsBefore;
    bool diskWasGood = true;
    std::unique_ptr<Model> model;
    /// Those that ended stay, since readers may still refer to them.
    std::vector<std::unique_ptr<Round>> rounds;
    std::vector<std::unique_ptr<Model>> models;
};

}  // namespace

void PlayLife(World& world) { Life(world).Play(); }

}  // namespace vantry::simulation
