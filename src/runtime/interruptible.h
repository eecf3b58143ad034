#pragma once

#include <pthread.h>

namespace vantry {

/// Marks, for the length of a scope, a blocking call in which the calling thread may be cancelled.
///
/// Threads of the hub run with cancellation disabled, so that a forced end can't strike inside a
/// destructor or half-way through a change. An Interruptible enables it around a wait or a blocking
/// system call and nowhere else; a cancelled thread unwinds its stack from there. The caller must
/// hold no resource that isn't released by a destructor.
class Interruptible {
public:
    Interruptible() { pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &before); }
    ~Interruptible() { pthread_setcancelstate(before, nullptr); }
    Interruptible(const Interruptible&) = delete;
    Interruptible& operator=(const Interruptible&) = delete;

private:
    int before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace vantry
