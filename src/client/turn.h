#pragma once

#include "client/deadline.h"
#include "runtime/event.h"
#include "runtime/thread_annotations.h"

namespace vantry::client {

/// A lock that guards an activity which may take long, such as a question and its answer, so that
/// a thread waits for it until a deadline only. Not re-entrant. Thread-safe.
class CAPABILITY("mutex") Turn {
public:
    Turn() { free.Set(); }

    /// Blocks while another thread has the turn. Returns false if it has it until the deadline.
    [[nodiscard]] bool Enter(const Deadline& deadline) TRY_ACQUIRE(true) {
        return free.Wait(deadline.Left());
    }
    /// Gives the turn back. Called by the thread that has it.
    void Leave() RELEASE() { free.Set(); }

private:
    Event free{true};
};

/// Holds a turn for the length of a scope, if it was entered before the deadline, which the
/// conversion to bool says.
class ScopedTurn {
public:
    ScopedTurn(Turn& wanted, const Deadline& deadline)
        : turn(wanted), held(Entered(wanted, deadline)) {}
    ~ScopedTurn() {
        if (held) {
            Release(turn);
        }
    }
    ScopedTurn(const ScopedTurn&) = delete;
    ScopedTurn& operator=(const ScopedTurn&) = delete;

    explicit operator bool() const { return held; }

private:
    static bool Entered(Turn& turn, const Deadline& deadline) NO_THREAD_SAFETY_ANALYSIS {
        return turn.Enter(deadline);
    }
    static void Release(Turn& turn) NO_THREAD_SAFETY_ANALYSIS { turn.Leave(); }

    Turn& turn;
    const bool held;
};

}  // namespace vantry::client
