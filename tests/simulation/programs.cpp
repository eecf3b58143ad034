// The programs of the peers.
//
// A component reports values of its properties and reads them back, a reader asks, a subscriber
// listens, a writer sets properties of components and the hub's saved ones, and others ask for more
// than they read or send what no client sends. Each works over a random link with random pauses.
// When the hub ends a connection, its program ends too.

#include "programs.h"

#include <array>

#include "program.h"
#include "runtime/clock.h"

namespace vantry::simulation {
namespace {

void RunComponent(Program& program) {
    Random& random = program.random;
    const std::string name = "C" + std::to_string(program.number);
    std::vector<Known*> own;
    for (std::uint64_t count = 1 + random.Below(3); count != 0; --count) {
        own.push_back(&program.model.Announce(name, random.OneIn(2), program.peer.get()));
    }
    const std::uint64_t messages = 1 + random.Below(program.world.settings.messages);
    for (std::uint64_t message = 0; message < messages; ++message) {
        Known& property = *own[random.Below(own.size())];
        const bool withdraws = !property.mayBeMissing && random.OneIn(8);
        const bool rests = !withdraws && (random.OneIn(5) || message + 1 == messages);
        if (rests) {
            // Some subscribers come now.
            ++program.round.rests;
            program.world.scheduler.Wake(&program.round.rests);
            program.world.scheduler.Sleep(random.Below(200) * kNanosecondsPerMillisecond);
        }
        if (withdraws) {
            property.mayBeWithdrawn = true;
            property.mayBeMissing = true;
        } else {
            ++property.sent;
        }
        property.changedAt = program.world.scheduler.Now();
        if (!program.peer->Send(R"({"PropertyGetResponses": [)" +
                                property.Record(property.sent, withdraws) + "]}")) {
            return;
        }
        property.changedAt = program.world.scheduler.Now();
        if (withdraws) {
            program.world.scheduler.Sleep(2'000 * kNanosecondsPerMillisecond);
            continue;
        }
        if (rests) {
            // Everybody hears the last value meanwhile.
            program.world.scheduler.Sleep(kQuietNanoseconds * 3 / 2);
        }
        program.Pause();
        // What is reported is seen by the next read of the same connection.
        if (random.OneIn(2) || message + 1 == messages) {
            for (Known* const mine : own) {
                const std::uint64_t sent = mine->sent;
                if (sent == 0 ||
                    (mine->mayBeWithdrawn && mine->mayBeMissing && mine != &property)) {
                    continue;
                }
                if (!program.Ask({mine}, false)) {
                    return;
                }
                if (program.model.MaySee(*program.peer, *mine)) {
                    if (program.seen.replied[mine] != sent) {
                        program.world.scheduler.Fail(program.peer->Name() +
                                                     " doesn't read its own report");
                    }
                    mine->certain = sent;
                    mine->mayBeMissing = false;
                    mine->changedAt = program.world.scheduler.Now();
                }
            }
        }
    }
}

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

/// Checks what a subscriber has seen of the properties that haven't changed for a while.
void CheckHeard(Program& program, bool everything, std::vector<const Known*> subscribed) {
    // A withdrawal takes its property off a list, and an empty list means everything.
    if (everything) {
        subscribed.clear();
        for (const std::unique_ptr<Known>& property : program.model.Properties()) {
            subscribed.push_back(property.get());
        }
    } else {
        std::erase_if(subscribed, [&](const Known* property) { return property->mayBeWithdrawn; });
    }
    if (!program.MayEnd()) {
        program.model.CheckLast(*program.peer, subscribed, program.seen,
                                program.world.scheduler.Now() - kQuietNanoseconds);
    }
}

/// Takes what the hub publishes until the end, and sometimes stops reading for a while.
void Listen(Program& program, bool everything, const std::vector<const Known*>& subscribed) {
    Scheduler& scheduler = program.world.scheduler;
    std::uint64_t readsSince = scheduler.Now();
    while (!program.round.allHeard) {
        const std::optional<std::string> text = program.peer->Receive(250);
        if (text) {
            const ReceivedText read = program.model.Read(*program.peer, *text);
            program.model.CheckPublication(*program.peer, read, program.seen);
        } else if (program.peer->HasEnded()) {
            if (!program.MayEnd()) {
                scheduler.Fail(program.peer->Name() + " is disconnected without a reason");
            }
            return;
        } else if (scheduler.Now() - readsSince > kQuietNanoseconds) {
            CheckHeard(program, everything, subscribed);
        }
        if (program.random.OneIn(20)) {
            program.peer->SetReading(false);
            scheduler.Sleep(program.random.Below(3'000) * kNanosecondsPerMillisecond);
            program.peer->SetReading(true);
            readsSince = scheduler.Now();
        }
    }
    CheckHeard(program, everything, subscribed);
}

/// A component that nobody has. An answer that has a record of it isn't a publication.
constexpr char kMark[] = "MARK";

bool IsMark(const Entry& record) { return record.at("Component") == kMark; }

/// Waits until a component is about to report for the last time before a silence, after which
/// nothing makes up for what a subscriber misses. The hub may be late with what the caller sends.
void AwaitRest(Program& program) {
    constexpr std::uint64_t kLongestMilliseconds = 10'000;
    constexpr std::uint64_t kPointsOfSubscription = 256;
    Scheduler& scheduler = program.world.scheduler;
    const std::uint64_t seen = program.round.rests;
    const std::uint64_t end = scheduler.Now() + kLongestMilliseconds * kNanosecondsPerMillisecond;
    while (program.round.rests == seen && scheduler.Now() < end) {
        scheduler.Wait("a component to rest", &program.round.rests, end);
    }
    // Where little output is kept, no session is delayed, so that greedy clients are served at
    // once.
    if (!KeepsLittleForLocalClients(program.world) && program.random.OneIn(2)) {
        scheduler.DelaySession(1 + program.random.Below(kPointsOfSubscription),
                               (500 + program.random.Below(1'000)) * kNanosecondsPerMillisecond);
    }
}

void RunSubscriber(Program& program) {
    if (program.random.OneIn(2)) {
        AwaitRest(program);
    } else {
        // The subscription comes at any moment of what components do.
        for (std::uint64_t pauses = program.random.Below(8); pauses != 0; --pauses) {
            program.Pause();
        }
    }
    program.mayFallBehind =
        !program.peer->IsExternal() && KeepsLittleForLocalClients(program.world);
    const bool everything = program.random.OneIn(2);
    std::vector<const Known*> subscribed = program.SomeProperties();
    if (!everything && subscribed.empty()) {
        return;
    }
    // The mark tells the answer to a list from a publication.
    const std::string list = Program::Requests("PropertySubscribeRequests", subscribed).substr(1);
    const std::string mark = std::string(R"({"PropertyGetRequests": [{"Component": ")") + kMark +
                             R"(","GUID": "G:M"}],)";
    if (!program.peer->Send(everything ? R"({"SubscribeAllCurrentAndNewProperties": true})"
                                       : mark + list)) {
        return;
    }
    for (;;) {
        std::optional<ReceivedText> text = program.Answer();
        if (!text) {
            return;
        }
        const bool hasMark = std::erase_if(text->records, IsMark) != 0;
        if (everything ? text->everything : hasMark) {
            program.model.CheckAnswer(*program.peer, *text, subscribed, everything, {},
                                      program.seen);
            break;
        }
        program.model.CheckPublication(*program.peer, *text, program.seen);
    }
    Listen(program, everything, subscribed);
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
