// A component: it reports values of its properties, withdraws some, and reads its own reports back.
// Now and then it rests, so that every subscriber has to hear its last value.

#include "program.h"
#include "runtime/clock.h"

namespace vantry::simulation {
namespace {

/// Reports the next value of a property, or withdraws it. Returns false if the connection has
/// ended.
bool SendReport(Program& program, Known& property, bool withdraws) {
    if (withdraws) {
        property.mayBeWithdrawn = true;
        property.mayBeMissing = true;
    } else {
        ++property.sent;
    }
    property.changedAt = program.world.scheduler.Now();
    if (!program.peer->Send(R"({"PropertyGetResponses": [)" +
                            property.Record(property.sent, withdraws) + "]}")) {
        return false;
    }
    property.changedAt = program.world.scheduler.Now();
    return true;
}

/// Reads the properties back after a report of one of them: what is reported is seen by the next
/// read of the same connection. Returns false if the connection has ended.
bool ReadBack(Program& program, const std::vector<Known*>& own, const Known& reported) {
    for (Known* const mine : own) {
        const std::uint64_t sent = mine->sent;
        if (sent == 0 || (mine->mayBeWithdrawn && mine->mayBeMissing && mine != &reported)) {
            continue;
        }
        if (!program.Ask({mine}, false)) {
            return false;
        }
        if (program.model.MaySee(*program.peer, *mine)) {
            if (program.seen.replied[mine] != sent) {
                program.world.scheduler.Fail(program.peer->Name() + " doesn't read its own report");
            }
            mine->certain = sent;
            mine->mayBeMissing = false;
            mine->changedAt = program.world.scheduler.Now();
        }
    }
    return true;
}

}  // namespace

void RunComponent(Program& program) {
    Random& random = program.random;
    Scheduler& scheduler = program.world.scheduler;
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
            scheduler.Wake(&program.round.rests);
            scheduler.Sleep(random.Below(200) * kNanosecondsPerMillisecond);
        }
        if (!SendReport(program, property, withdraws)) {
            return;
        }
        if (withdraws) {
            scheduler.Sleep(2'000 * kNanosecondsPerMillisecond);
            continue;
        }
        if (rests) {
            // Everybody hears the last value meanwhile.
            scheduler.Sleep(kQuietNanoseconds * 3 / 2);
        }
        program.Pause();
        if ((random.OneIn(2) || message + 1 == messages) && !ReadBack(program, own, property)) {
            return;
        }
    }
}

}  // namespace vantry::simulation
