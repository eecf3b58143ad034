#pragma once

#include <cstdint>
#include <deque>

#include "runtime/event.h"
#include "runtime/lock.h"

namespace vantry {

/// Lets a fixed number of threads at a time do something that is expensive for everybody. The
/// others wait, and go on in the order in which they came. Any thread may call any operation.
class Turns {
public:
    explicit Turns(std::uint64_t atATime) : free(atATime) {}

    /// Blocks until the caller has a turn. Each Take is followed by a GiveBack of the same thread.
    void Take();
    void GiveBack();

private:
    Lock lock;
    std::uint64_t free GUARDED_BY(lock);
    /// Each event belongs to a thread inside Take.
    std::deque<Event*> waiting GUARDED_BY(lock);
};

/// Has a turn for the length of a scope, unless it is made without one.
class ScopedTurn {
public:
    /// `turns` may be null: then nothing is taken.
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
