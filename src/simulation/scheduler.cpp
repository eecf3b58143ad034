// All threads of the hub run as coroutines on one thread of the system.
//
// Each simulated thread has a stack of its own, and another one runs only after a call of the
// scheduler, so a run depends on nothing but its seed. At each point the scheduler may switch to
// another thread. Half of the seeds choose it at random, each with its own probability of a switch.
// The other half give threads random priorities: of those that can run, the one with the highest
// does, and at a few random steps the running one gets the lowest. The second way needs few runs to
// find an order of events in which one thread is very late.
//
// The virtual time doesn't advance while a thread can run, except for a small delay that some seeds
// add, and for the few sessions that the scenario delays; otherwise it advances to the first
// deadline. If no thread can run and none has a deadline, or if threads wait for each other in a
// circle, the hub is deadlocked. A run that takes too many steps or too long in virtual time has a
// thread that never ends, or one that no other wakes.

#include "simulation/scheduler.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "runtime/clock.h"

namespace vantry::simulation {
namespace {

constexpr std::uint64_t kMostSteps = 40'000'000;
constexpr std::uint64_t kMostNanoseconds = 900'000 * kNanosecondsPerMillisecond;
constexpr std::uint64_t kMostLateness = 300 * kNanosecondsPerMillisecond;
constexpr std::uint64_t kUsualSteps = 200'000;
/// How many points a thread passes at a time at most while it has the highest priority.
constexpr std::uint64_t kLongestStretch = 100'000;

Scheduler* existing = nullptr;

}  // namespace

Scheduler::Scheduler(const RunSettings& runSettings, std::uint64_t seed)
    : settings(runSettings),
      random(seed * 2 + 1),
      hasPriorities(random.OneIn(2)),
      interruptOneIn(std::uint64_t{2} << random.Below(8)),
      lateOneIn(random.OneIn(3) ? std::uint64_t{1'000} << random.Below(4) : 0),
      latenessLeft(kMostLateness),
      stacks(kMostStacks) {
    const std::uint64_t count = random.Below(8);
    for (std::uint64_t change = 0; change < count; ++change) {
        changes.push_back(random.Below(kUsualSteps >> random.Below(8)));
    }
    existing = this;
}

bool Scheduler::Exists() { return existing != nullptr; }

Scheduler::~Scheduler() { existing = nullptr; }

Scheduler& Scheduler::Current() { return *existing; }

void Scheduler::Run(std::function<void()> body) {
    Start("root", std::move(body));
    current = threads.front().get();
    swapcontext(&outside, &current->context);
}

void Scheduler::Start(std::string_view name, std::function<void()> body) {
    auto thread = std::make_unique<SimulatedThread>();
    thread->number = static_cast<std::uint32_t>(threads.size());
    thread->name = std::string(name) + " " + std::to_string(thread->number);
    thread->body = std::move(body);
    thread->priority = static_cast<std::int64_t>(random.Below(1'000'000)) + 1;
    thread->stack = stacks.Take();
    if (thread->stack == nullptr) {
        Fail("there are too many threads");
    }
    getcontext(&thread->context);
    thread->context.uc_stack.ss_sp = thread->stack;
    thread->context.uc_stack.ss_size = ThreadStacks::kBytes;
    makecontext(&thread->context, &Scheduler::Enter, 0);
    threads.push_back(std::move(thread));
    if (settings.trace) {
        Trace("starts " + threads.back()->name);
    }
}

bool Scheduler::RefusesThread() {
    const bool refused = random.OneIn(refusedOneIn);
    if (refused) {
        Trace("gets no thread");
    }
    return refused;
}

void Scheduler::Enter() {
    Scheduler& scheduler = Current();
    SimulatedThread& self = *scheduler.current;
    self.hasBegun = true;
    self.body();
    self.body = nullptr;
    scheduler.Trace("ends");
    self.state = SimulatedThread::State::Ended;
    if (self.number == 0) {
        setcontext(&scheduler.outside);
    }
    scheduler.stacks.GiveBack(self.stack);
    scheduler.SwitchAway();
}

void Scheduler::Step() {
    if (++steps > kMostSteps) {
        Fail("the run doesn't end: a thread never gets done");
    }
    if (latenessLeft != 0 && random.OneIn(lateOneIn)) {
        const std::uint64_t late = std::min(latenessLeft, random.Below(30) * 1'000'000);
        latenessLeft -= late;
        now += late;
    }
}

void Scheduler::Point(std::string_view what) {
    Trace(what);
    QuietPoint();
}

void Scheduler::QuietPoint() {
    if (current == nullptr) {
        return;
    }
    Step();
    DelayIfMeant();
    if (MayInterrupt()) {
        SwitchAway();
    }
}

void Scheduler::DelaySession(std::uint64_t points, std::uint64_t nanoseconds) {
    if (delaysLeft != 0 && delay == 0) {
        --delaysLeft;
        delayedAt = points;
        delay = nanoseconds;
    }
}

void Scheduler::DelayIfMeant() {
    ++current->pointsAwake;
    if (delay != 0 && current->pointsAwake == delayedAt && current->name.starts_with("session")) {
        Trace("is late from here on");
        Sleep(std::exchange(delay, 0));
    }
}

bool Scheduler::MayInterrupt() {
    if (interruptions >= settings.switches) {
        return false;
    }
    if (hasPriorities) {
        // A thread that polls loses its priority after a while; otherwise the one that it waits for
        // would never run.
        if (std::find(changes.begin(), changes.end(), steps) != changes.end() ||
            ++stretch == kLongestStretch) {
            current->priority = --lowest;
        }
        return true;
    }
    return random.OneIn(interruptOneIn);
}

void Scheduler::Wait(std::string_view what, const void* object, std::uint64_t deadline,
                     const SimulatedThread* blocker) {
    Step();
    // A thread that is woken and waits for the same again needs no further line.
    const bool goesOnWaiting = current->waitIsTraced && current->waitsFor == what;
    current->pointsAwake = 0;
    current->waitsFor = what;
    current->object = object;
    current->deadline = deadline;
    current->blocker = blocker;
    current->state = SimulatedThread::State::Waits;
    if (settings.trace && !goesOnWaiting) {
        Trace("waits for " + current->waitsFor);
        current->waitIsTraced = true;
    }
    CheckForDeadlock();
    SwitchAway();
    current->object = nullptr;
    current->blocker = nullptr;
}

void Scheduler::CheckForDeadlock() const {
    for (const SimulatedThread* other = current->blocker; other != nullptr;
         other = other->state == SimulatedThread::State::Waits ? other->blocker : nullptr) {
        if (other == current) {
            const_cast<Scheduler*>(this)->Fail("deadlock: threads wait for each other");
        }
    }
}

void Scheduler::Wake(const void* object) {
    for (const std::unique_ptr<SimulatedThread>& thread : threads) {
        if (thread->state == SimulatedThread::State::Waits && thread->object == object) {
            thread->state = SimulatedThread::State::CanRun;
        }
    }
}

void Scheduler::Sleep(std::uint64_t nanoseconds) {
    const std::uint64_t until = now + nanoseconds;
    while (now < until) {
        Wait("some time", nullptr, until);
    }
}

SimulatedThread* Scheduler::Choose() {
    able.clear();
    while (able.empty()) {
        for (const std::unique_ptr<SimulatedThread>& thread : threads) {
            if (thread->state == SimulatedThread::State::CanRun) {
                able.push_back(thread.get());
            }
        }
        if (able.empty()) {
            AdvanceTime();
        }
    }
    if (!hasPriorities) {
        return able[random.Below(able.size())];
    }
    return *std::max_element(able.begin(), able.end(), [](const auto* left, const auto* right) {
        return left->priority < right->priority;
    });
}

void Scheduler::AdvanceTime() {
    std::uint64_t next = kNever;
    for (const std::unique_ptr<SimulatedThread>& thread : threads) {
        if (thread->state == SimulatedThread::State::Waits) {
            next = std::min(next, thread->deadline);
        }
    }
    if (next == kNever) {
        Fail("deadlock: nobody can run, and nobody waits for a time");
    }
    now = std::max(now, next);
    if (now > kMostNanoseconds) {
        Fail("the run doesn't end: a thread waits for what never comes");
    }
    for (const std::unique_ptr<SimulatedThread>& thread : threads) {
        if (thread->state == SimulatedThread::State::Waits && thread->deadline <= now) {
            thread->state = SimulatedThread::State::CanRun;
        }
    }
}

void Scheduler::SwitchTo(SimulatedThread* next) {
    if (next == current) {
        return;
    }
    stretch = 0;
    if (current->state == SimulatedThread::State::CanRun) {
        ++interruptions;
    }
    SimulatedThread* const before = std::exchange(current, next);
    swapcontext(&before->context, &next->context);
    if (reporter != nullptr) {
        NoteCalls(*current);
    }
}

std::size_t Scheduler::Living() const {
    return static_cast<std::size_t>(std::count_if(
        threads.begin(), threads.end(),
        [](const auto& thread) { return thread->state != SimulatedThread::State::Ended; }));
}

void Scheduler::Trace(std::string_view what) {
    if (settings.trace) {
        if (current != nullptr) {
            current->waitIsTraced = false;
        }
        std::printf("%10.3f ms  %-22s %.*s\n", static_cast<double>(now - kStart) / 1e6,
                    current == nullptr ? "" : current->name.c_str(), static_cast<int>(what.size()),
                    what.data());
    }
}

}  // namespace vantry::simulation
