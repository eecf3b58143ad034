#pragma once

#include <pthread.h>

namespace vantry {

/// Marks a blocking call in which a thread may be ended by force.
///
/// Threads of the hub run with cancellation off, so that a forced end can never strike inside a
/// destructor or half-way through a change. Around a wait or a blocking system call, and nowhere
/// else, one of these lets it in; the stack is then unwound from there. The caller must hold
/// nothing that its destructors don't give back.
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
