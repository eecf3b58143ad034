#pragma once

#include <cstdint>
#include <deque>

#include "runtime/event.h"
#include "runtime/lock.h"

namespace vantry {

/// A semaphore that admits threads in the order in which they arrived. It limits how many threads
/// do something expensive at the same time. All operations are thread-safe.
class Turns {
public:
    explicit Turns(std::uint64_t atATime) : free(atATime) {}

    /// Blocks until the caller may proceed. Each Take is followed by a GiveBack of the same thread.
    void Take();
    /// Lets the next thread proceed. Doesn't block.
    void GiveBack();

private:
    Mutex lock;
    std::uint64_t free GUARDED_BY(lock);
    /// The events of the threads that block in Take, the first to arrive in front.
    std::deque<Event*> waiting GUARDED_BY(lock);
};

/// Calls Take at its construction and GiveBack at the end of its scope.
class ScopedTurn {
public:
    /// `turns` may be null: then neither is called. Otherwise it must outlive the object.
    explicit ScopedTurn(Turns* turns) : owner(turns) {
        if (owner != nullptr) {
            owner->Take();
        }
    }
    ~ScopedTurn() {
        if (owner != nullptr) {
            owner->GiveBack();
        }
    }
    ScopedTurn(const ScopedTurn&) = delete;
    ScopedTurn& operator=(const ScopedTurn&) = delete;

private:
    Turns* const owner;
};

}  // namespace vantry
