// Flags with waits.
//
// One lock guards the bits and one condition is woken by every Set; each waiter then tests the bits
// for itself. That wakes waiters whose bits weren't set, which costs little because an EventFlags
// has one or two waiters. All waits share one loop, which differs only in its test, in the bits
// that it clears and in its deadline. A thread is interruptible only while it blocks, so a forced
// end leaves the bits as they are and the lock free.

#include "runtime/event_flags.h"

#include "runtime/clock.h"
#include "runtime/interruptible.h"
#include "runtime/live_object_counters.h"

namespace vantry {
namespace {

constexpr std::uint32_t kAllBits = 0xFFFFFFFF;

}  // namespace

EventFlags::EventFlags(bool clearsItself) : autoClear(clearsItself) {
    ++LiveObjectCounters::eventFlags;
}

EventFlags::~EventFlags() { --LiveObjectCounters::eventFlags; }

template <typename Test>
EventFlags::Outcome EventFlags::Wait(const Test& test, std::uint32_t clearedBits,
                                     const std::uint32_t* milliseconds) {
    const std::uint64_t deadline =
        milliseconds == nullptr ? 0 : NowNanoseconds() + *milliseconds * kNanosecondsPerMillisecond;
    ScopedLock guard(lock);
    while (!test(flags)) {
        if (milliseconds != nullptr && NowNanoseconds() >= deadline) {
            return {false, 0};
        }
        Interruptible here;
        if (milliseconds == nullptr) {
            changed.Wait(lock);
        } else {
            changed.WaitUntil(lock, deadline);
        }
    }
    const std::uint32_t seen = flags;
    if (autoClear) {
        flags &= ~clearedBits;
    }
    return {true, seen};
}

std::uint32_t EventFlags::WaitAny(std::uint32_t mask, std::uint32_t milliseconds) {
    return Wait([mask](std::uint32_t now) { return (now & mask) != 0; }, mask, &milliseconds).flags;
}

std::uint32_t EventFlags::WaitAny(std::uint32_t mask) {
    return Wait([mask](std::uint32_t now) { return (now & mask) != 0; }, mask, nullptr).flags;
}

bool EventFlags::WaitUntil(const Predicate& predicate, std::uint32_t milliseconds) {
    return Wait(predicate, kAllBits, &milliseconds).held;
}

std::uint32_t EventFlags::WaitUntil(const Predicate& predicate) {
    return Wait(predicate, kAllBits, nullptr).flags;
}

bool EventFlags::WaitAll(std::uint32_t mask, std::uint32_t milliseconds) {
    return Wait([mask](std::uint32_t now) { return (now & mask) == mask; }, mask, &milliseconds)
        .held;
}

std::uint32_t EventFlags::WaitAll(std::uint32_t mask) {
    Wait([mask](std::uint32_t now) { return (now & mask) == mask; }, mask, nullptr);
    return 1;
}

void EventFlags::Set(std::uint32_t mask) {
    ScopedLock guard(lock);
    flags |= mask;
    // The lock must be held here: a waiter may destroy this object as soon as it has seen the bit.
    changed.WakeAll();
}

void EventFlags::Clear(std::uint32_t mask) {
    ScopedLock guard(lock);
    flags &= ~mask;
}

}  // namespace vantry
