// One life of the machine: the hub starts, peers come and go in rounds, and the hub stops, is
// replaced, is killed or loses its power.

#include <cstring>

#include "driver/exports.h"
#include "programs.h"
#include "runtime/clock.h"
#include "runtime/live_object_counters.h"
#include "simulation/races.h"
#include "store/format/property_text.h"

namespace vantry::simulation {
namespace {

constexpr char16_t kMarker[] = u"/DriverUnloadSuccessful";
constexpr char16_t kBackup[] = u"/Store/VantryProperties.ini.bak";
constexpr std::uint64_t kLongestForWrite = 2'000 * kNanosecondsPerMillisecond;

/// How a round ends.
enum class Ending { Quiet, SecondInit, Stop, Kill, PowerCut };

class Life {
public:
    explicit Life(World& machine)
        : world(machine),
          hardship(HardshipOf(machine)),
          descriptorsBefore(machine.descriptors.CountOpen()),
          model(std::make_unique<Model>(machine, hardship)) {
        std::memcpy(&model->saved, world.legacy.memory.data(), sizeof model->saved);
        for (Saved& saved : model->saved) {
            saved.certain = saved.onDisk;
        }
    }

    void Play() {
        Random& random = world.random;
        world.platform.settings.saves =
            world.settings.seed % 2 == 0 ? Saves::InPlace : Saves::Replace;
        static_cast<void>(world.disk->Delete(kMarker));
        if (world.legacy.life == 0) {
            PutFile();
        } else if (random.OneIn(2)) {
            world.disk->SetUnreadable(random.OneIn(3) ? kFile : kBackup);
        }
        Impose(world, hardship);
        fileBefore = world.disk->Now()[kFile];
        std::unique_ptr<Round> round = NewRound();
        if (world.settings.peers > 1 && random.OneIn(2)) {
            StartEarlyReader(*round, world.settings.peers);
        }
        StartHub();
        CheckSaved();
        for (std::uint64_t rounds = 1 + random.Below(2); rounds != 0; --rounds) {
            if (PlayRound(std::move(round))) {
                return;
            }
            round = NewRound();
        }
        Stop();
    }

private:
    /// Carries on in a new life with these files.
    [[noreturn]] void NextLife(const SimulatedDisk::Image& left) {
        std::memcpy(world.legacy.memory.data(), &model->saved, sizeof model->saved);
        world.EndLife(left);
    }

    /// Lets the machine have a file with the first value of a saved property.
    void PutFile() {
        const SavedName& name = kSavedNames[1];
        static_cast<void>(world.disk->Replace(
            kFile, MakePropertyContent(std::string(name.guids) + "|General:" + name.name + "=" +
                                       SavedText(1) + "\n")));
        model->saved[1] = {1, 1, 1, 0};
    }

    /// Starts the hub, or replaces it.
    void StartHub() {
        const std::uint64_t before = world.disk->Refusals();
        InHub([] { return PRN_Init(); });
        world.disk->SetRefused(0);
        diskWasGood = world.disk->Refusals() == before;
        if (diskWasGood) {
            for (Saved& saved : model->saved) {
                saved.inBackup = saved.onDisk;
            }
        }
    }

    /// Returns whether each value that was set surely is on the disk when the hub has had the time.
    bool SavesAtOnce() const {
        return hardship != Hardship::Threads && world.disk->Refusals() == 0;
    }

    std::unique_ptr<Round> NewRound() { return std::make_unique<Round>(Round{world, *model}); }

    /// Returns whether the hub was stopped.
    bool PlayRound(std::unique_ptr<Round> round) {
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
            if (world.random.OneIn(2)) {
                world.disk->AwaitHalfWrite(kFile, kLongestForWrite);
            } else {
                world.scheduler.Sleep(world.random.Below(3'000) * kNanosecondsPerMillisecond);
            }
            EndAbruptly(ending, *round);
        }
        while (quiet && round->senders != 0) {
            world.scheduler.Wait("the senders to be done", &round->senders);
        }
        if (quiet) {
            world.scheduler.Trace("everything is sent");
            world.scheduler.Sleep(kQuietNanoseconds);
            if (SavesAtOnce()) {
                for (Saved& saved : model->saved) {
                    saved.onDisk = saved.certain;
                }
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
            const auto saved = model->saved;
            rounds.push_back(std::move(round));
            models.push_back(std::exchange(model, std::make_unique<Model>(world, hardship)));
            model->saved = saved;
            if (ending == Ending::Stop) {
                CheckStopped();
                return true;
            }
        } else {
            rounds.push_back(std::move(round));
            CheckConnections();
        }
        return false;
    }

    /// Checks that no connection is counted when all peers have ended theirs.
    void CheckConnections() {
        const std::uint64_t end = world.scheduler.Now() + kQuietNanoseconds;
        while (world.platform.accounting->Connections() != 0) {
            if (world.scheduler.Now() > end) {
                world.scheduler.Fail("a connection that has ended stays counted");
            }
            world.scheduler.Sleep(kQuietNanoseconds / 20);
        }
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
        NextLife(left);
    }

    /// Notes that what the last hub couldn't save is lost.
    void ForgetUnsaved() {
        for (Saved& saved : model->saved) {
            if (world.platform.settings.saves == Saves::InPlace) {
                saved.onDisk = saved.inBackup;
            }
            saved.certain = saved.onDisk;
        }
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
        const auto contentOf = [&](const char16_t* name) {
            const auto file = image.find(name);
            return file == image.end() ? "" : file->second;
        };
        std::string text = contentOf(kFile);
        if (!fileWasRead && hardship != Hardship::Disk && text != fileBefore) {
            world.scheduler.Fail("values that couldn't be read are replaced");
        }
        if (diskWasGood && fileWasRead) {
            // A save that failed may have damaged the file. The next start uses the copy then.
            text = IsGoodPropertyContent(text) ? text : contentOf(kBackup);
            for (std::size_t place = 0; place < kSavedCount; ++place) {
                const std::string name = std::string(kSavedNames[place].name) + "=";
                const std::size_t found = text.find(name);
                const std::uint64_t count =
                    found == std::string::npos ? 0 : CountIn(text.substr(found + name.size()));
                CheckSavedCount(place, count, model->saved[place].certain);
                model->saved[place].onDisk = count;
            }
        } else {
            ForgetUnsaved();
        }
        if (world.random.OneIn(3)) {
            NextLife(image);
        }
    }

    void CheckSavedCount(std::size_t place, std::uint64_t count, std::uint64_t least) {
        const std::uint64_t sent = model->saved[place].sent;
        if (count < least || count > sent) {
            world.scheduler.Fail(std::string("a saved value of ") + kSavedNames[place].name +
                                 " is lost: the " + std::to_string(count) + ". instead of the " +
                                 std::to_string(least) + ". to " + std::to_string(sent) + ".");
        }
    }

    /// Reads the saved properties after a start.
    void CheckSaved() {
        const std::shared_ptr<Peer> peer = Peer::Connect(world, Peer::Link::Local, "first client");
        peer->Send(R"({"PropertyGetRequests": [{)" + SavedEntry(0) + "},{" + SavedEntry(1) + "}]}");
        if (const std::optional<std::string> text = peer->Receive(30'000)) {
            const ReceivedText read = model->Read(*peer, *text);
            // Where a file can't be read, the hub uses the other one or its own values.
            fileWasRead = world.disk->Refusals() == 0;
            for (std::size_t place = 0; place < kSavedCount; ++place) {
                Saved& saved = model->saved[place];
                const std::uint64_t count = CountIn(read.records.at(place).at("Value"));
                CheckSavedCount(place, count, fileWasRead ? saved.onDisk : 0);
                if (fileWasRead) {
                    saved.certain = saved.onDisk = saved.inBackup = count;
                }
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
    /// Whether the hub had the values of the file at the start of this life.
    bool fileWasRead = true;
    /// What the file had then.
    std::string fileBefore;
    std::unique_ptr<Model> model;
    /// Those that ended stay, since readers may still refer to them.
    std::vector<std::unique_ptr<Round>> rounds;
    std::vector<std::unique_ptr<Model>> models;
};

}  // namespace

void PlayLife(World& world) { Life(world).Play(); }

}  // namespace vantry::simulation
