#include "runtime/event_flags.h"

#include <ctime>

#include "runtime/clock.h"
#include "runtime/interruptible.h"
#include "runtime/live_object_counters.h"

namespace vantry {
namespace {

constexpr std::uint32_t kAllBits = 0xFFFFFFFF;

timespec ToTimespec(std::uint64_t nanoseconds) {
    return {static_cast<time_t>(nanoseconds / 1'000'000'000),
            static_cast<long>(nanoseconds % 1'000'000'000)};
}

}  // namespace

EventFlags::EventFlags(bool clearsItself) : autoClear(clearsItself) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&condition, &attributes);
    pthread_condattr_destroy(&attributes);
    ++LiveObjectCounters::eventFlags;
}

EventFlags::~EventFlags() {
    pthread_cond_destroy(&condition);
    --LiveObjectCounters::eventFlags;
}

void EventFlags::Sleep() {
    Interruptible here;
    pthread_cond_wait(&condition, lock.Section());
}

void EventFlags::SleepUntil(std::uint64_t deadline) {
    const timespec until = ToTimespec(deadline);
    Interruptible here;
    pthread_cond_timedwait(&condition, lock.Section(), &until);
}

template <typename Test>
EventFlags::Outcome EventFlags::Wait(const Test& test, std::uint32_t clearedBits,
                                     const std::uint32_t* milliseconds) {
    const std::uint64_t deadline =
        milliseconds == nullptr ? 0 : NowNanoseconds() + *milliseconds * kNanosecondsPerMillisecond;
    ScopedLock guard(lock);
    while (!test(flags)) {
        if (milliseconds == nullptr) {
            Sleep();
        } else if (NowNanoseconds() < deadline) {
            SleepUntil(deadline);
        } else {
            return {false, 0};
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
    // Woken under the lock: a waiter may destroy this object as soon as it has seen the bit.
    pthread_cond_broadcast(&condition);
}

void EventFlags::Clear(std::uint32_t mask) {
    ScopedLock guard(lock);
    flags &= ~mask;
}

}  // namespace vantry
