// The runtime's locks, conditions, threads and clock, played by the scheduler.
//
// This file takes the place of lock.cpp, condition.cpp, native_thread.cpp, clock.cpp and
// random_bits.cpp when the simulation is linked; event flags, events, threads and their reaper are
// built on those and run as they are. The memory of the system's mutex holds a reference to the
// state of the simulated one, so the classes keep their declarations. A condition needs no state:
// its address tells who waits for it.

#include <cstring>

#include "runtime/clock.h"
#include "runtime/condition.h"
#include "runtime/lock.h"
#include "runtime/native_thread.h"
#include "runtime/random_bits.h"
#include "simulation/lock_order.h"
#include "simulation/races.h"
#include "simulation/scheduler.h"

namespace vantry {
namespace {

using simulation::kNever;
using simulation::OutsideHub;
using simulation::Scheduler;
using simulation::SimulatedThread;

/// What a mutex refers to.
struct MutexState {
    const SimulatedThread* owner = nullptr;
    std::uint32_t depth = 0;
};

constexpr std::size_t kReferenceBytes = sizeof(void*);
static_assert(kReferenceBytes <= sizeof(pthread_mutex_t));

void SetState(const Mutex& mutex, MutexState* state) {
    std::memcpy(mutex.Native(), &state, kReferenceBytes);
}

MutexState& StateOf(const Mutex& mutex) {
    MutexState* state = nullptr;
    std::memcpy(&state, mutex.Native(), kReferenceBytes);
    return *state;
}

simulation::LockOrder& Order() {
    static auto* const order = new simulation::LockOrder;
    return *order;
}

void Take(MutexState& mutex, bool mayWait = true) {
    Scheduler& scheduler = Scheduler::Current();
    const bool isNew = mutex.depth == 0 || mutex.owner != scheduler.Self();
    if (isNew && mayWait && !Order().NoteTaking(scheduler.Self(), &mutex)) {
        scheduler.Fail("two locks are taken in both orders, which can be a deadlock");
    }
    while (mutex.depth != 0 && mutex.owner != scheduler.Self()) {
        scheduler.Wait("a lock that '" + mutex.owner->name + "' holds", &mutex, kNever,
                       mutex.owner);
    }
    if (isNew) {
        Order().NoteTaken(scheduler.Self(), &mutex);
    }
    mutex.owner = scheduler.Self();
    ++mutex.depth;
    simulation::Acquire(&mutex);
}

void GiveBack(MutexState& mutex) {
    if (mutex.depth == 0 || mutex.owner != Scheduler::Current().Self()) {
        Scheduler::Current().Fail("a lock is left that its thread doesn't hold");
    }
    simulation::Release(&mutex);
    if (--mutex.depth == 0) {
        Order().NoteGivenBack(mutex.owner, &mutex);
        mutex.owner = nullptr;
        Scheduler::Current().Wake(&mutex);
    }
}

}  // namespace

std::uint64_t NowNanoseconds() { return Scheduler::Current().Now(); }

/// The hub behaves alike with every secret, but a seed must also take the same steps each time.
std::uint64_t RandomBits() { return 0; }

Mutex::Mutex() : native{} {
    const OutsideHub here;
    SetState(*this, new MutexState);
}

Mutex::~Mutex() {
    const OutsideHub here;
    MutexState* const last = &StateOf(*this);
    if (last->depth != 0) {
        Scheduler::Current().Fail("a lock is destroyed that '" + last->owner->name + "' holds");
    }
    Order().Forget(last);
    delete last;
}

void Mutex::Enter() const NO_THREAD_SAFETY_ANALYSIS {
    const OutsideHub here;
    Scheduler::Current().QuietPoint();
    Take(StateOf(*this));
}

bool Mutex::TryEnter() const NO_THREAD_SAFETY_ANALYSIS {
    const OutsideHub here;
    Scheduler::Current().QuietPoint();
    MutexState& mutexState = StateOf(*this);
    if (mutexState.depth != 0 && mutexState.owner != Scheduler::Current().Self()) {
        return false;
    }
    Take(mutexState, false);
    return true;
}

void Mutex::Leave() const NO_THREAD_SAFETY_ANALYSIS {
    const OutsideHub here;
    GiveBack(StateOf(*this));
    Scheduler::Current().QuietPoint();
}

Condition::Condition() : condition{} {
    // The member belongs to the other runtime; clang warns about one that nothing names.
    static_cast<void>(condition);
}

Condition::~Condition() {
    // There is nothing to destroy, but the other runtime's destructor does something.
    static_cast<void>(condition);
}

void Condition::Wait(const Mutex& mutex) {
    const OutsideHub here;
    WaitUntil(mutex, kNever);
}

void Condition::WaitUntil(const Mutex& mutex, std::uint64_t deadline) {
    const OutsideHub here;
    MutexState& state = StateOf(mutex);
    if (state.depth != 1) {
        Scheduler::Current().Fail("a wait whose caller doesn't hold the lock exactly once");
    }
    GiveBack(state);
    Scheduler::Current().Wait("an event", this, deadline);
    Take(state);
}

void Condition::WakeAll() {
    const OutsideHub here;
    Scheduler::Current().Wake(this);
}

struct NativeThread::State {
    std::function<void()> body;
    std::string name;
    bool ended = false;
};

NativeThread::~NativeThread() { Join(); }

bool NativeThread::Start(std::function<void()> body, const Traits& traits) {
    const OutsideHub here;
    if (Scheduler::Current().RefusesThread()) {
        return false;
    }
    state = std::make_shared<State>(State{std::move(body), std::string(traits.name)});
    const std::shared_ptr<State> mine = state;
    simulation::Release(mine.get());
    Scheduler::Current().Start(mine->name, [mine] {
        simulation::Acquire(mine.get());
        {
            const simulation::CodeOfHub hub(true);
            mine->body();
            mine->body = nullptr;
        }
        mine->ended = true;
        simulation::Release(mine.get());
        Scheduler::Current().Wake(mine.get());
    });
    Scheduler::Current().QuietPoint();
    return true;
}

bool NativeThread::SetNiceOffset(int) {
    const OutsideHub here;
    return true;
}

bool NativeThread::WaitForEnd(std::uint32_t milliseconds) const {
    const OutsideHub here;
    const std::shared_ptr<State> mine = state;
    Scheduler& scheduler = Scheduler::Current();
    const std::uint64_t deadline = scheduler.Now() + milliseconds * kNanosecondsPerMillisecond;
    while (mine && !mine->ended && scheduler.Now() < deadline) {
        scheduler.Wait("the end of '" + mine->name + "'", mine.get(), deadline);
    }
    if (mine && mine->ended) {
        simulation::Acquire(mine.get());
    }
    return !mine || mine->ended;
}

void NativeThread::Join() {
    const OutsideHub here;
    Scheduler& scheduler = Scheduler::Current();
    while (state && !state->ended) {
        scheduler.Wait("the end of '" + state->name + "'", state.get());
    }
    if (state) {
        simulation::Acquire(state.get());
    }
    state.reset();
}

void NativeThread::Terminate() {
    const OutsideHub here;
    // A session that the scenario has delayed may take longer than the hub waits for it.
    if (state && !state->ended && !Scheduler::Current().HasDelays()) {
        Scheduler::Current().Fail("'" + state->name + "' has to be ended by force");
    }
    Join();
}

}  // namespace vantry
