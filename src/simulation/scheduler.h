#pragma once

#include <ucontext.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulation/random.h"
#include "simulation/run_settings.h"
#include "simulation/thread_stacks.h"

namespace vantry::simulation {

/// A moment that never comes.
inline constexpr std::uint64_t kNever = ~std::uint64_t{0};

/// One simulated thread.
struct SimulatedThread {
    enum class State { CanRun, Waits, Ended };

    std::uint32_t number = 0;
    std::string name;
    std::function<void()> body;
    ucontext_t context{};
    void* stack = nullptr;
    bool hasBegun = false;
    /// How many points it has passed since it waited last.
    std::uint64_t pointsAwake = 0;
    /// Whether it runs code of the hub, whose accesses are checked.
    bool isInHub = false;
    State state = State::CanRun;
    /// While it waits: what for, in words, the object that wakes it, and the moment that does.
    std::string waitsFor;
    /// Whether the last line that this thread has in the trace says what it waits for.
    bool waitIsTraced = false;
    const void* object = nullptr;
    std::uint64_t deadline = kNever;
    /// The thread that must act before this one can run again, if that is one thread, as with a
    /// lock.
    const SimulatedThread* blocker = nullptr;
    /// Higher ones run first in a run with priorities.
    std::int64_t priority = 0;
    /// The addresses of the calls that it is in, filled in for a report.
    std::vector<void*> calls;
};

/// Runs the simulated threads, one at a time, in an order that a seed decides, and owns the virtual
/// time. One exists at a time in a process. Only simulated threads call its operations, but for the
/// constructor and Run.
class Scheduler {
public:
    /// The virtual time at which a run begins.
    static constexpr std::uint64_t kStart = 1'000'000'000;

    /// `seed` decides the order in place of that of the settings.
    Scheduler(const RunSettings& runSettings, std::uint64_t seed);
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    /// Returns the one that exists.
    static Scheduler& Current();

    /// Runs `body` as the first thread, named "root", and returns when it has ended, whatever other
    /// threads do then.
    void Run(std::function<void()> body);
    /// Adds a thread, which runs when the order says so.
    void Start(std::string_view name, std::function<void()> body);

    /// Lets one in so many new threads of the hub be refused; 0 for none.
    void SetThreadsRefused(std::uint64_t oneIn) { refusedOneIn = oneIn; }
    /// Returns whether the next thread of the hub is refused.
    bool RefusesThread();

    /// Lets the session that next passes so many points without a wait be late by this time there,
    /// as on a machine that is busy with other work. Only a few calls in a run have an effect.
    void DelaySession(std::uint64_t points, std::uint64_t nanoseconds);
    /// Returns whether a session was delayed, or will be.
    bool HasDelays() const { return delaysLeft != kMostDelays; }

    /// A point at which the scheduler may switch to another thread. `what` is what the caller does,
    /// for the trace.
    void Point(std::string_view what);
    /// The same as Point, for what is too frequent for the trace.
    void QuietPoint();
    /// Blocks the caller until Wake of `object` or until the time is `deadline`. `blocker` is
    /// the thread that has to act first, if it is known.
    void Wait(std::string_view what, const void* object, std::uint64_t deadline = kNever,
              const SimulatedThread* blocker = nullptr);
    /// Wakes all threads that wait for `object`.
    void Wake(const void* object);
    /// Blocks the caller for a time.
    void Sleep(std::uint64_t nanoseconds);

    /// Returns the virtual time in nanoseconds.
    std::uint64_t Now() const { return now; }
    const SimulatedThread* Self() const { return current; }
    static bool Exists();
    bool IsInHub() const { return current != nullptr && current->isInHub; }
    /// Changes whether the caller is in the hub. Returns whether it was.
    bool SetInHub(bool isInHub) {
        return current != nullptr && std::exchange(current->isInHub, isInHub);
    }
    /// Returns whether the address is on the stack of a thread.
    bool IsOnStack(const void* address) const { return stacks.Contains(address); }
    const std::string& NameOf(std::uint32_t number) const { return threads[number]->name; }
    /// Returns how many threads haven't ended.
    std::size_t Living() const;
    std::uint64_t Steps() const { return steps; }

    /// Returns whether a trace is written.
    bool IsTracing() const { return settings.trace; }
    /// Writes a line of the trace: the time, the calling thread and `what`. Does nothing without a
    /// trace.
    void Trace(std::string_view what);
    /// Ends the process with a report: the reason, and each thread with what it waits for.
    [[noreturn]] void Fail(std::string_view reason);

private:
    static constexpr std::size_t kMostStacks = 1'024;
    static constexpr std::uint32_t kMostDelays = 2;

    static void Enter();
    bool MayInterrupt();
    /// Delays the caller if it is the session that DelaySession means.
    void DelayIfMeant();
    void CheckForDeadlock() const;
    SimulatedThread* Choose();
    void AdvanceTime();
    void SwitchTo(SimulatedThread* next);
    void SwitchAway() { SwitchTo(Choose()); }
    /// Notes the calls that the running thread is in, and returns to the one that reports.
    void NoteCalls(SimulatedThread& thread);
    void Step();

    const RunSettings settings;
    Random random;
    /// Whether threads have priorities; otherwise the order is random.
    const bool hasPriorities;
    /// In a random order: one in how many points interrupts.
    const std::uint64_t interruptOneIn;
    /// With priorities: the steps at which the running thread becomes the least.
    std::vector<std::uint64_t> changes;
    std::uint64_t lateOneIn;
    std::uint64_t latenessLeft;
    std::uint64_t refusedOneIn = 0;
    std::uint32_t delaysLeft = kMostDelays;
    /// The delay that waits for its session; 0 if none does.
    std::uint64_t delay = 0;
    std::uint64_t delayedAt = 0;
    std::int64_t lowest = 0;
    std::uint64_t interruptions = 0;
    std::uint64_t steps = 0;
    /// How many points the running thread has passed since it runs.
    std::uint64_t stretch = 0;
    std::uint64_t now = kStart;
    std::vector<std::unique_ptr<SimulatedThread>> threads;
    ThreadStacks stacks;
    /// Those that can run. Only Choose uses it.
    std::vector<SimulatedThread*> able;
    SimulatedThread* current = nullptr;
    /// Set while a report is made: the thread to return to.
    SimulatedThread* reporter = nullptr;
    ucontext_t outside{};
};

}  // namespace vantry::simulation
