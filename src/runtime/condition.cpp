#include "runtime/condition.h"

#include <ctime>

namespace vantry {

Condition::Condition() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

Condition::~Condition() { pthread_cond_destroy(&condition); }

void Condition::Wait(const Mutex& mutex) { pthread_cond_wait(&condition, mutex.Native()); }

void Condition::WaitUntil(const Mutex& mutex, std::uint64_t deadline) {
    const timespec until{static_cast<time_t>(deadline / 1'000'000'000),
                         static_cast<long>(deadline % 1'000'000'000)};
    pthread_cond_timedwait(&condition, mutex.Native(), &until);
}

void Condition::WakeAll() { pthread_cond_broadcast(&condition); }

}  // namespace vantry
