#pragma once

#include <pthread.h>

#include <memory>

#include "runtime/thread_annotations.h"

namespace vantry {

/// A re-entrant mutex that is part of the object that it guards.
///
/// A thread that holds the mutex may enter it again and must leave it as often. ScopedLock is the
/// usual way to enter; the operations here are for such guards. They are thread-safe.
class CAPABILITY("mutex") Mutex {
public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// Blocks while another thread holds the mutex.
    void Enter() const ACQUIRE();
    /// Enters without blocking. Returns false if another thread holds the mutex. Nothing in the hub
    /// calls it; the tests use it to find out whether a lock is held.
    [[nodiscard]] bool TryEnter() const TRY_ACQUIRE(true);
    /// Gives the mutex back. Called by the thread that entered.
    void Leave() const RELEASE();

    /// Returns the mutex for a condition variable that waits on it. It lives as long as this
    /// object.
    pthread_mutex_t* Native() const { return &native; }

private:
    mutable pthread_mutex_t native;
};

/// A shared handle of a Mutex.
///
/// A copy of a Lock refers to the same mutex, which lives as long as its last handle, so code that
/// may outlive the owner of a lock keeps a copy.
class CAPABILITY("mutex") Lock {
public:
    Lock() : mutex(std::make_shared<const Mutex>()) {}

    // These are the operations of Mutex.

    void Enter() const ACQUIRE() NO_THREAD_SAFETY_ANALYSIS { mutex->Enter(); }
    [[nodiscard]] bool TryEnter() const TRY_ACQUIRE(true) NO_THREAD_SAFETY_ANALYSIS {
        return mutex->TryEnter();
    }
    void Leave() const RELEASE() NO_THREAD_SAFETY_ANALYSIS { mutex->Leave(); }

    const Mutex& Shared() const { return *mutex; }

private:
    std::shared_ptr<const Mutex> mutex;
};

/// Holds a Mutex or a Lock for the length of a scope, for which the mutex must live.
class SCOPED_CAPABILITY ScopedLock {
public:
    explicit ScopedLock(const Mutex& mutex) ACQUIRE(mutex) : held(mutex) { held.Enter(); }
    explicit ScopedLock(const Lock& lock) ACQUIRE(lock) NO_THREAD_SAFETY_ANALYSIS
        : held(lock.Shared()) {
        held.Enter();
    }
    ~ScopedLock() RELEASE() { held.Leave(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    const Mutex& held;
};

}  // namespace vantry
