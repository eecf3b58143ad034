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
constexpr std::uint64_t kQuietNanoseconds = 6'000 * kNanosecondsPerMillisecond;

/// How a round ends.
enum class Ending { Quiet, SecondInit, Stop, Kill, PowerCut };

/// Carries what is known of the saved property from life to life.
void Carry(World& world, const Saved& saved) {
    world.legacy.memory[0] = saved.sent;
    world.legacy.memory[1] = saved.onDisk;
}

class Life {
public:
    explicit Life(World& machine) : world(machine), model(std::make_unique<Model>(machine)) {
        model->saved.sent = world.legacy.memory[0];
        model->saved.onDisk = world.legacy.memory[1];
        model->saved.certain = model->saved.onDisk;
    }

    void Play() {
        Random& random = world.random;
        world.platform.settings.saves =
            world.settings.seed % 2 == 0 ? Saves::InPlace : Saves::Replace;
        static_cast<void>(world.disk->Delete(kMarker));
        world.disk->SetFailing(false);
        InHub([] { return PRN_Init(); });
        CheckSaved();
        for (std::uint64_t rounds = 1 + random.Below(2); rounds != 0; --rounds) {
            if (PlayRound()) {
                return;
            }
        }
        Stop();
    }

private:
    /// Returns whether the hub was stopped.
    bool PlayRound() {
        auto round = std::make_unique<Round>(Round{world, *model});
        const std::uint64_t peers = 1 + world.random.Below(world.settings.peers);
        const auto ending = static_cast<Ending>(world.random.Below(8));
        for (std::uint32_t number = 0; number < peers; ++number) {
            StartProgram(*round, number);
        }
        const bool quiet = ending == Ending::Quiet || ending > Ending::PowerCut;
        if (!quiet) {
            world.scheduler.Sleep(world.random.Below(3'000) * kNanosecondsPerMillisecond);
            EndAbruptly(ending, *round);
        }
        while (quiet && round->senders != 0) {
            world.scheduler.Wait("the senders to be done", &round->senders);
        }
        if (quiet) {
            world.scheduler.Tell("everything is sent");
            world.scheduler.Sleep(kQuietNanoseconds);
            model->saved.onDisk = model->saved.certain;
        }
        round->allHeard = true;
        while (round->running != 0) {
            world.scheduler.Wait("the programs to be done", &round->running);
        }
        if (!quiet) {
            const Saved saved = model->saved;
            rounds.push_back(std::move(round));
            models.push_back(std::exchange(model, std::make_unique<Model>(world)));
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
                InHub([] { return PRN_Init(); });
                break;
            case Ending::Kill:
                if (world.platform.settings.saves == Saves::InPlace) {
                    model->saved.onDisk = model->saved.atStart;
                }
                Carry(world, model->saved);
                world.EndLife(world.disk->Now());
            case Ending::PowerCut:
                if (world.platform.settings.saves == Saves::InPlace) {
                    model->saved.onDisk = 0;
                }
                Carry(world, model->saved);
                world.EndLife(world.disk->AfterPowerCut());
            default:
                InHub([] { return PRN_Deinit(1); });
        }
    }

    void Stop() {
        InHub([] { return PRN_Deinit(1); });
        CheckStopped();
    }

    void CheckStopped() {
        if (!LiveObjectCounters::AllZero() || !world.disk->Now().contains(kMarker)) {
            world.scheduler.Fail("the hub has stopped and something of it is left");
        }
        if (world.descriptors.CountOpen() != 0) {
            world.scheduler.Fail("the hub has stopped and left descriptors open");
        }
        if (world.scheduler.Living() != 1) {
            world.scheduler.Fail("the hub has stopped and left a thread");
        }
        const SimulatedDisk::Image image = world.disk->Now();
        const auto file = image.find(u"/Store/VantryProperties.ini");
        const std::string text = file == image.end() ? "" : file->second;
        const std::size_t place = text.find("UsbPrnTxTimeout=");
        const std::uint64_t value = place == std::string::npos
                                        ? kSavedBase
                                        : std::strtoull(text.c_str() + place + 16, nullptr, 10);
        CheckSavedValue(value, model->saved.certain);
        model->saved.onDisk = value - kSavedBase;
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
        const std::optional<std::string> text = peer->Receive(30'000);
        if (!text) {
            world.scheduler.Fail("the first client gets no answer");
        }
        const ReceivedText read = model->Read(*peer, *text);
        const std::uint64_t value =
            std::strtoull(read.records.at(0).at("Value").c_str(), nullptr, 10);
        CheckSavedValue(value, model->saved.onDisk);
        model->saved.certain = model->saved.atStart = value - kSavedBase;
        peer->Close();
    }

    World& world;
    std::unique_ptr<Model> model;
    /// Those that ended stay, since readers may still refer to them.
    std::vector<std::unique_ptr<Round>> rounds;
    std::vector<std::unique_ptr<Model>> models;
};

}  // namespace

void PlayLife(World& world) { Life(world).Play(); }

}  // namespace vantry::simulation
