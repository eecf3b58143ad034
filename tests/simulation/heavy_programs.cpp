// Clients that ask for much at once. One reads nothing, so that the hub has to end its connection.
// The other reads all the time, so that the hub has no reason to let it wait.

#include "program.h"
#include "runtime/clock.h"

namespace vantry::simulation {

void RunStalled(Program& program) {
    constexpr std::uint64_t kMostMilliseconds = 40'000;
    constexpr int kRequests = 80;
    program.peer->SetReading(false);
    bool good = true;
    for (int request = 0; good && request < kRequests; ++request) {
        good = program.peer->Send(R"({"GetAllProperties": true})");
    }
    program.world.scheduler.Sleep(kMostMilliseconds * kNanosecondsPerMillisecond);
    if (!program.MayEnd() && program.peer->LinkIsFull() && !program.peer->LinkHasEnded()) {
        program.world.scheduler.Fail(program.peer->Name() + " reads nothing and stays connected");
    }
}

void RunGreedy(Program& program) {
    // The hub waits a second for a client that doesn't read, and a run is late by less than that.
    constexpr std::uint64_t kMostNanoseconds = 900 * kNanosecondsPerMillisecond;
    const std::uint64_t requests = 20 + program.random.Below(30);
    std::string frames;
    for (std::uint64_t request = 0; request < requests; ++request) {
        frames += Peer::FrameOf(R"({"GetAllProperties": true})");
    }
    Scheduler& scheduler = program.world.scheduler;
    const auto atLeast = program.model.Certain();
    const std::uint64_t start = scheduler.Now();
    scheduler.Trace("asks for everything " + std::to_string(requests) + " times");
    if (!program.peer->SendBytes(frames)) {
        return;
    }
    for (std::uint64_t request = 0; request < requests; ++request) {
        const std::optional<ReceivedText> answer = program.Answer();
        if (!answer) {
            return;
        }
        program.model.CheckAnswer(*program.peer, *answer, {}, true, atLeast, program.seen);
    }
    if (!program.MayEnd() && !scheduler.HasDelays() && scheduler.Now() - start > kMostNanoseconds) {
        scheduler.Fail(program.peer->Name() + " reads all the time and waits for its answers");
    }
}

}  // namespace vantry::simulation
