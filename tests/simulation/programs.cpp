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

/// Sets a saved property and reads it back. Returns false if the connection has ended.
bool SetSaved(Program& program) {
    const std::size_t place = program.random.Below(kSavedCount);
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

void RunWriter(Program& program, bool setsSaved) {
    const std::uint64_t messages = 1 + program.random.Below(program.world.settings.messages);
    for (std::uint64_t message = 0; message < messages; ++message) {
        if (setsSaved && program.random.OneIn(2)) {
            if (!SetSaved(program)) {
                return;
            }
        } else if (!program.model.Properties().empty()) {
            const auto& all = program.model.Properties();
            Known& property = *all[program.random.Below(all.size())];
            // What an external client sets is ignored, so its count stays 0.
            std::uint64_t& written = property.written[program.number];
            const std::uint64_t count = program.peer->IsExternal() ? 1 : ++written;
            if (!program.peer->Send(
                    R"({"PropertySetRequests": [{"Component": ")" + property.component +
                    R"(","GUID": ")" + property.group + ":" + property.guid + R"(","Value": "w)" +
                    std::to_string(program.number) + "x" + std::to_string(count) + "\"}]}")) {
                return;
            }
        }
        program.Pause();
    }
}

enum class Part { FirstWriter, Writer, Component, Subscriber, Reader, Stalled, Greedy, Hostile };

std::string NameOf(Part part) {
    constexpr std::array<const char*, 8> kNames = {"first writer", "writer", "component",
                                                   "subscriber",   "reader", "stalled",
                                                   "greedy",       "hostile"};
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
    if (part == Part::Stalled) {
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
        case Part::Stalled:
            return RunStalled(program);
        case Part::Greedy:
            return RunGreedy(program);
        case Part::Hostile:
            return RunHostile(program);
    }
}

void Run(Round& round, std::uint32_t number, Part part) {
    // The first is the one that sets the saved properties.
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

}  // namespace

void StartProgram(Round& round, std::uint32_t number) {
    const Part part = number == 0 ? Part::FirstWriter : SomePart(round.world);
    ++round.running;
    round.senders += part == Part::Subscriber ? 0 : 1;
    round.world.scheduler.Start(NameOf(part), [&round, number, part] {
        Run(round, number, part);
        --round.running;
        round.world.scheduler.Wake(&round.running);
    });
}

}  // namespace vantry::simulation
