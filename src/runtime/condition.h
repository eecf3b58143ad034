#pragma once

#include <pthread.h>

#include <cstdint>

#include "runtime/lock.h"
#include "runtime/thread_annotations.h"

namespace vantry {

/// A condition variable whose time-outs follow the monotonic clock, so that setting the time of day
/// changes no wait.
///
/// The caller of a wait holds `mutex` exactly once. The wait releases it while it blocks and holds
/// it again when it ends, also when the thread is cancelled there. A wait may end for no reason, so
/// callers test their condition in a loop. Any number of threads may wait and wake.
class Condition {
public:
    Condition();
    ~Condition();
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /// Blocks until WakeAll.
    void Wait(const Mutex& mutex) REQUIRES(mutex);
    /// Blocks until WakeAll, or until NowNanoseconds() has reached `deadline`.
    void WaitUntil(const Mutex& mutex, std::uint64_t deadline) REQUIRES(mutex);
    /// Wakes every thread that waits. The caller may hold the lock.
    void WakeAll();

private:
    pthread_cond_t condition;
};

}  // namespace vantry
