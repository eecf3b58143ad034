// The programs of the peers.
//
// A component reports values of its properties and reads them back, a reader asks, a subscriber
// listens, a writer sets properties of components and the hub's saved one, and a hostile peer sends
// what no client sends. Each works over a random link with random pauses. When the hub ends a
// connection, its program ends too.

#include "programs.h"

#include <functional>

#include "runtime/clock.h"

namespace vantry::simulation {
namespace {

constexpr std::uint64_t kAnswerMilliseconds = 30'000;

/// What every program has.
struct Program {
    Program(Round& shared, std::shared_ptr<Peer> connected, std::uint32_t place)
        : round(shared),
          world(shared.world),
          model(shared.model),
          peer(std::move(connected)),
          number(place),
          random(shared.world.settings.seed * 1'000 + place + shared.world.legacy.life * 77) {}

    void Pause() {
        if (random.OneIn(3)) {
            world.scheduler.Sleep(random.Below(700) * kNanosecondsPerMillisecond);
        }
    }

    std::vector<const Known*> SomeProperties() {
        std::vector<const Known*> some;
        for (const std::unique_ptr<Known>& property : model.Properties()) {
            if (random.OneIn(2) && some.size() < 4) {
                some.push_back(property.get());
            }
        }
        return some;
    }

    static std::string Requests(const char* section, const std::vector<const Known*>& asked) {
        std::string text = std::string("{\"") + section + "\": [";
        for (const Known* property : asked) {
            text += (property == asked.front() ? "" : ",") + property->Request();
        }
        return text + "]}";
    }

    /// Returns the next answer, and passes forwarded writes to the model meanwhile. Returns nothing
    /// if the hub has ended the connection.
    std::optional<ReceivedText> Answer() {
        for (;;) {
            const std::optional<std::string> text = peer->Receive(kAnswerMilliseconds);
            if (!text) {
                if (!peer->HasEnded()) {
                    world.scheduler.Fail(peer->Name() + " gets no answer");
                }
                if (!round.hubEnds) {
                    world.scheduler.Fail(peer->Name() + " is disconnected without a reason");
                }
                return std::nullopt;
            }
            ReceivedText read = model.Read(*peer, *text);
            if (read.writes.empty()) {
                return read;
            }
            model.CheckForwarded(*peer, read);
        }
    }

    /// Asks for properties and checks the answer. Returns false if the connection has ended.
    bool Ask(const std::vector<const Known*>& asked, bool everything, Seen& seen) {
        const auto atLeast = model.Certain();
        std::map<const Known*, std::uint64_t> due;
        for (const auto& [property, least] : atLeast) {
            if (everything || std::find(asked.begin(), asked.end(), property) != asked.end()) {
                due[property] = least;
            }
        }
        if (!peer->Send(everything ? R"({"GetAllProperties": true})"
                                   : Requests("PropertyGetRequests", asked))) {
            return false;
        }
        const std::optional<ReceivedText> answer = Answer();
        if (answer) {
            model.CheckAnswer(*peer, *answer, asked, everything, due, seen);
        }
        return answer.has_value();
    }

    Round& round;
    World& world;
    Model& model;
    const std::shared_ptr<Peer> peer;
    const std::uint32_t number;
    Random random;
    Seen seen;
};

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
        if (withdraws) {
            property.mayBeWithdrawn = true;
            property.mayBeMissing = true;
        } else {
            ++property.sent;
        }
        if (!program.peer->Send(R"({"PropertyGetResponses": [)" +
                                property.Record(property.sent, withdraws) + "]}")) {
            return;
        }
        if (withdraws) {
            program.world.scheduler.Sleep(2'000 * kNanosecondsPerMillisecond);
            continue;
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
                if (!program.Ask({mine}, false, program.seen)) {
                    return;
                }
                if (program.model.MaySee(*program.peer, *mine)) {
                    if (program.seen.replied[mine] != sent) {
                        program.world.scheduler.Fail(program.peer->Name() +
                                                     " doesn't read its own report");
                    }
                    mine->certain = sent;
                    mine->mayBeMissing = false;
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
        if ((everything || !asked.empty()) && !program.Ask(asked, everything, program.seen)) {
            return;
        }
        program.Pause();
    }
}

void RunSubscriber(Program& program) {
    const bool everything = program.random.OneIn(2);
    const auto atLeast = program.model.Certain();
    std::vector<const Known*> subscribed = program.SomeProperties();
    if (!everything && subscribed.empty()) {
        return;
    }
    if (!program.peer->Send(everything
                                ? R"({"SubscribeAllCurrentAndNewProperties": true})"
                                : Program::Requests("PropertySubscribeRequests", subscribed))) {
        return;
    }
    const std::optional<ReceivedText> answer = program.Answer();
    if (!answer) {
        return;
    }
    // A publication may be written before the answer.
    if (answer->everything == everything &&
        (everything || answer->records.size() == subscribed.size())) {
        program.model.CheckAnswer(*program.peer, *answer, subscribed, everything, {}, program.seen);
    }
    while (!program.round.allHeard) {
        const std::optional<std::string> text = program.peer->Receive(250);
        if (text) {
            const ReceivedText read = program.model.Read(*program.peer, *text);
            program.model.CheckPublication(*program.peer, read, program.seen);
        } else if (program.peer->HasEnded()) {
            if (!program.round.hubEnds) {
                program.world.scheduler.Fail(program.peer->Name() +
                                             " is disconnected without a reason");
            }
            return;
        }
        if (program.random.OneIn(20)) {
            program.peer->SetReading(false);
            program.world.scheduler.Sleep(program.random.Below(3'000) * kNanosecondsPerMillisecond);
            program.peer->SetReading(true);
        }
    }
    // A withdrawal takes its property off a list, and an empty list means everything.
    if (everything) {
        subscribed.clear();
        for (const std::unique_ptr<Known>& property : program.model.Properties()) {
            subscribed.push_back(property.get());
        }
    } else {
        std::erase_if(subscribed, [&](const Known* property) { return property->mayBeWithdrawn; });
    }
    if (!program.round.hubEnds) {
        program.model.CheckLast(*program.peer, subscribed, program.seen);
    }
}

/// Sets the saved property and reads it back. Returns false if the connection has ended.
bool SetSaved(Program& program) {
    Saved& saved = program.model.saved;
    std::string text = R"({"PropertySetRequests": [)";
    // Sometimes more lines than the queue holds unfolded.
    const std::uint64_t count = program.random.OneIn(8) ? 150 : 1;
    for (std::uint64_t write = 0; write < count; ++write) {
        ++saved.sent;
        text += std::string(write == 0 ? "" : ",") + "{" + kSavedEntry + R"(,"Value": ")" +
                std::to_string(kSavedBase + saved.sent) + "\"}";
    }
    if (!program.peer->Send(text + "]}") ||
        !program.peer->Send(std::string(R"({"PropertyGetRequests": [{)") + kSavedEntry + "}]}")) {
        return false;
    }
    const std::optional<ReceivedText> answer = program.Answer();
    if (!answer) {
        return false;
    }
    if (answer->records.size() != 1 ||
        answer->records[0].at("Value") != std::to_string(kSavedBase + saved.sent)) {
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

void RunHostile(Program& program) {
    static const std::vector<std::string> kTexts = {
        "[]",
        "{",
        "",
        R"({"PropertyGetRequests": "x"})",
        R"({"PropertySubscribeRequests": [{"GUID": 7},[],null]})",
        R"({"PropertyGetResponses": [{"Status": "Successful"}]})",
        R"({"Disconnect": true})",
        R"({"SubscribeAllCurrentAndNewProperties": true})",
        R"({"GetAllProperties": true})"};
    Random& random = program.random;
    const std::uint64_t messages = 1 + random.Below(program.world.settings.messages);
    for (std::uint64_t message = 0; message < messages; ++message) {
        bool good = true;
        switch (random.Below(5)) {
            case 0:
                good = program.peer->SendBytes(std::string(1 + random.Below(100), 'x'));
                break;
            case 1:
                program.peer->SetReading(random.OneIn(2));
                break;
            case 2:
                program.peer->EndSending();
                return;
            default:
                good = program.peer->Send(kTexts[random.Below(kTexts.size())]);
        }
        if (!good) {
            return;
        }
        program.Pause();
    }
}

/// Subscribers send nothing that others wait for.
bool IsSubscriber(std::uint64_t kind) { return kind == 4 || kind == 5; }

void NoteSent(Round& round, std::uint64_t kind) {
    if (!IsSubscriber(kind)) {
        --round.senders;
        round.world.scheduler.Wake(&round.senders);
    }
}

void Run(Round& round, std::uint32_t number, std::uint64_t kind) {
    const bool local = kind == 0 || round.world.random.OneIn(2);
    const std::shared_ptr<Peer> peer =
        Peer::Connect(round.world, local ? Peer::Link::Local : Peer::Link::Tcp,
                      std::string(local ? "local " : "tcp ") + std::to_string(number));
    if (!peer) {
        NoteSent(round, kind);
        return;
    }
    Program program(round, peer, number);
    program.Pause();
    const bool isHostile = kind == 7;
    if (kind == 0) {
        RunWriter(program, true);
    } else if (kind == 1) {
        RunWriter(program, false);
    } else if (kind <= 3) {
        RunComponent(program);
    } else if (kind <= 5) {
        RunSubscriber(program);
    } else if (isHostile) {
        RunHostile(program);
    } else {
        RunReader(program);
    }
    NoteSent(round, kind);
    // A component stays until everything is heard, as its writes would be lost.
    while (!isHostile && !round.allHeard && !peer->HasEnded()) {
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
    // The first is the one that sets the saved property.
    const std::uint64_t kind = number == 0 ? 0 : 1 + round.world.random.Below(7);
    ++round.running;
    round.senders += IsSubscriber(kind) ? 0 : 1;
    round.world.scheduler.Start("program", [&round, number, kind] {
        Run(round, number, kind);
        --round.running;
        round.world.scheduler.Wake(&round.running);
    });
}

}  // namespace vantry::simulation
