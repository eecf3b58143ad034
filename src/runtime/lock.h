#pragma once

#include <pthread.h>

#include <memory>

#include "runtime/thread_annotations.h"

namespace vantry {

/// A shared handle of a re-entrant mutex.
///
/// A copy of a Lock refers to the same mutex, which lives as long as its last handle, so code that
/// may outlive the owner of a lock keeps a copy. A thread that holds the mutex may enter it again
/// and must leave it as often. ScopedLock is the usual way to enter; the operations here are for
/// such guards. They are thread-safe.
class CAPABILITY("mutex") Lock {
public:
    Lock();

    /// Blocks while another thread holds the mutex.
    void Enter() const ACQUIRE();
    /// Enters without blocking. Returns false if another thread holds the mutex. Nothing in the hub
    /// calls it; the tests use it to find out whether a lock is held.
    [[nodiscard]] bool TryEnter() const TRY_ACQUIRE(true);
    /// Gives the mutex back. Called by the thread that entered.
    void Leave() const RELEASE();

    /// Returns the mutex for a condition variable that waits on it. It lives as long as the last
    /// handle.
    pthread_mutex_t* NativeMutex() const { return mutex.get(); }

private:
    std::shared_ptr<pthread_mutex_t> mutex;
};

/// Holds a Lock for the length of a scope. The Lock must outlive the guard.
class SCOPED_CAPABILITY ScopedLock {
public:
    explicit ScopedLock(const Lock& lock) ACQUIRE(lock) : held(lock) { held.Enter(); }
    ~ScopedLock() RELEASE() { held.Leave(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    const Lock& held;
};

}  // namespace vantry
