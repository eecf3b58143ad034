// A subscriber: it listens until the end, sometimes stops reading for a while, and has to have
// heard the last value of whatever it subscribed to.

#include "program.h"
#include "runtime/clock.h"

namespace vantry::simulation {
namespace {

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

}  // namespace

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

}  // namespace vantry::simulation
