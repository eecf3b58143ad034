#pragma once

#include <pthread.h>

#include <memory>

#include "runtime/thread_annotations.h"

namespace vantry {

/// A shared handle to one critical section. Copying a Lock gives a second handle to the same
/// section, which lives as long as its last handle, so whoever must outlive the owner of a lock
/// keeps a copy of it. The section is re-entrant for the thread that holds it.
///
/// Lock is taken through ScopedLock; the operations here are for the guards.
class CAPABILITY("mutex") Lock {
public:
    Lock();

    void Enter() const ACQUIRE();
    /// Takes the lock if that needs no waiting; false if another thread holds it.
    [[nodiscard]] bool TryEnter() const TRY_ACQUIRE(true);
    void Leave() const RELEASE();

    /// The section itself, for a condition variable that sleeps on it.
    pthread_mutex_t* Section() const { return section.get(); }

private:
    std::shared_ptr<pthread_mutex_t> section;
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
