// The programs of the peers.
//
// A component reports values of its properties and reads them back, a reader asks, a subscriber
// listens, a writer sets properties of components and the hub's saved ones, and others ask for more
// than they read or send what no client sends. Each works over a random link with random pauses.
// When the hub ends a connection, its program ends too. Here are the short ones, and who plays
// what.

#include "programs.h"

#include <array>

#include "program.h"
#include "runtime/clock.h"

namespace vantry::simulation {
namespace {

constexpr std::uint64_t kLongestStart = 5'000 * kNanosecondsPerMillisecond;

void RunReader(Program& program) {
    const std::uint64_t messages = 1 + program.random.Below(program.world.settings.messages);
    for (std::uint64_t message = 0; message < messages; ++message) {
        const bool everything = program.random.OneIn(4);
        const std::vector<const Known*> asked = program.SomeProperties();
        if ((everything || !asked.empty()) && !program.Ask(asked, everything)) {
            return;
        }
        program.Pause();
    }
}

/// Asks while the hub still starts.
void RunEarlyReader(Program& program) {
    if (program.Ask({}, true)) {
        RunReader(program);
    }
}

/// Sets a saved property and reads it back. Returns false if the connection has ended.
bool SetSaved(Program& program, std::size_t place) {
    Saved& saved = program.model.saved[place];
    std::string text = R"({"PropertySetRequests": [)";
    // Sometimes more lines than the queue holds unfolded.
    const std::uint64_t count = program.random.OneIn(8) ? 150 : 1;
    for (std::uint64_t write = 0; write < count; ++write) {
        ++saved.sent;
        text += std::string(write == 0 ? "" : ",") + "{" + SavedEntry(place) + R"(,"Value": ")" +
                SavedText(saved.sent) + "\"}";
    }
    if (!program.peer->Send(text + "]}") ||
        !program.peer->Send(R"({"PropertyGetRequests": [{)" + SavedEntry(place) + "}]}")) {
        return false;
    }
    const std::optional<ReceivedText> answer = program.Answer();
    if (!answer) {
        return false;
    }
    if (answer->records.size() != 1 || answer->records[0].at("Value") != SavedText(saved.sent)) {
        program.world.scheduler.Fail(program.peer->Name() + " doesn't read what it has set");
    }
    saved.certain = saved.sent;
    return true;
}

/// Sets a property of a component, if there is one. Returns false if the connection has ended.
bool SetOfComponent(Program& program) {
    const auto& all = program.model.Properties();
    if (all.empty()) {
        return true;
    }
    Known& property = *all[program.random.Below(all.size())];
    // What an external client sets is ignored, so its count stays 0.
    std::uint64_t& written = property.written[program.number];
    const std::uint64_t count = program.peer->IsExternal() ? 1 : ++written;
    return program.peer->Send(R"({"PropertySetRequests": [{"Component": ")" + property.component +
                              R"(","GUID": ")" + property.group + ":" + property.guid +
                              R"(","Value": "w)" + std::to_string(program.number) + "x" +
                              std::to_string(count) + "\"}]}");
}

void RunWriter(Program& program, bool setsSaved) {
    Random& random = program.random;
    const bool savesOnBadDisk = setsSaved && HardshipOf(program.world) == Hardship::Disk;
    const std::uint64_t most = program.world.settings.messages * (savesOnBadDisk ? 2 : 1);
    const std::uint64_t messages = 1 + random.Below(most);
    // Half of the writers set one saved property and from some message on only the other one, so
    // that no later save makes up for what a save loses of the first.
    const bool setsInTurn = random.OneIn(2);
    const std::size_t first = random.Below(kSavedCount);
    const std::uint64_t turn = random.Below(messages);
    const auto placeOf = [&](std::uint64_t message) {
        const bool isBefore = message < turn;
        return !setsInTurn ? random.Below(kSavedCount) : isBefore ? first : kSavedCount - 1 - first;
    };
    for (std::uint64_t message = 0; message < messages; ++message) {
        const bool saves = setsSaved && (savesOnBadDisk || random.OneIn(2));
        if (!(saves ? SetSaved(program, placeOf(message)) : SetOfComponent(program))) {
            return;
        }
        program.Pause();
    }
}

enum class Part {
    FirstWriter,
    Writer,
    Component,
    Subscriber,
    Reader,
    EarlyReader,
    Stalled,
    Greedy,
    Hostile
};

std::string NameOf(Part part) {
    constexpr std::array<const char*, 9> kNames = {"first writer", "writer", "component",
                                                   "subscriber",   "reader", "early reader",
                                                   "stalled",      "greedy", "hostile"};
    return kNames[static_cast<std::size_t>(part)];
}

Part SomePart(World& world) {
    Random& random = world.random;
    constexpr std::array<Part, 7> kParts = {Part::Writer,     Part::Component,  Part::Component,
                                            Part::Subscriber, Part::Subscriber, Part::Reader,
                                            Part::Hostile};
    if (random.OneIn(20)) {
        return Part::Stalled;
    }
    return random.OneIn(KeepsLittleForLocalClients(world) ? 4 : 40)
               ? Part::Greedy
               : kParts[random.Below(kParts.size())];
}

Peer::Link LinkOf(Part part, Random& random) {
    if (part == Part::FirstWriter || part == Part::Greedy) {
        return Peer::Link::Local;
    }
    if (part == Part::Stalled || part == Part::EarlyReader) {
        return Peer::Link::Tcp;
    }
    constexpr std::array<Peer::Link, 8> kLinks = {
        Peer::Link::Local, Peer::Link::Local, Peer::Link::Local, Peer::Link::Tcp,
        Peer::Link::Tcp,   Peer::Link::Tcp,   Peer::Link::Usb,   Peer::Link::Bluetooth};
    return kLinks[random.Below(kLinks.size())];
}

/// Subscribers send nothing that others wait for.
void NoteSent(Round& round, Part part) {
    if (part != Part::Subscriber) {
        --round.senders;
        round.world.scheduler.Wake(&round.senders);
    }
}

/// A component stays until everything is heard, as writes to it would be lost, and so do others.
bool StaysToTheEnd(Part part) { return part != Part::Stalled && part != Part::Hostile; }

void PlayPart(Part part, Program& program) {
    switch (part) {
        case Part::FirstWriter:
            return RunWriter(program, true);
        case Part::Writer:
            return RunWriter(program, false);
        case Part::Component:
            return RunComponent(program);
        case Part::Subscriber:
            return RunSubscriber(program);
        case Part::Reader:
            return RunReader(program);
        case Part::EarlyReader:
            return RunEarlyReader(program);
        case Part::Stalled:
            return RunStalled(program);
        case Part::Greedy:
            return RunGreedy(program);
        case Part::Hostile:
            return RunHostile(program);
    }
}

void Run(Round& round, std::uint32_t number, Part part) {
    if (part == Part::EarlyReader && !round.world.descriptors.AwaitListener(kLongestStart)) {
        NoteSent(round, part);
        return;
    }
    const Peer::Link link = LinkOf(part, round.world.random);
    const std::shared_ptr<Peer> peer =
        Peer::Connect(round.world, link, Peer::NameOf(link) + " " + std::to_string(number));
    if (!peer) {
        NoteSent(round, part);
        return;
    }
    Program program(round, peer, number);
    program.Pause();
    PlayPart(part, program);
    NoteSent(round, part);
    while (StaysToTheEnd(part) && !round.allHeard && !peer->HasEnded()) {
        if (const std::optional<std::string> text = peer->Receive(500)) {
            const ReceivedText read = round.model.Read(*peer, *text);
            round.model.CheckForwarded(*peer, read);
        }
    }
    for (const std::unique_ptr<Known>& property : round.model.Properties()) {
        if (property->owner == peer.get()) {
            property->owner = nullptr;
        }
    }
    if (program.random.OneIn(3)) {
        peer->Reset();
    } else {
        peer->Close();
    }
}

void Start(Round& round, std::uint32_t number, Part part) {
    ++round.running;
    round.senders += part == Part::Subscriber ? 0 : 1;
    round.world.scheduler.Start(NameOf(part), [&round, number, part] {
        Run(round, number, part);
        --round.running;
        round.world.scheduler.Wake(&round.running);
    });
}

}  // namespace

void StartProgram(Round& round, std::uint32_t number) {
    // The first is the one that sets the saved properties.
    Start(round, number, number == 0 ? Part::FirstWriter : SomePart(round.world));
}

void StartEarlyReader(Round& round, std::uint32_t number) {
    Start(round, number, Part::EarlyReader);
}

}  // namespace vantry::simulation
