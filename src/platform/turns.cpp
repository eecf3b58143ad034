#include "platform/turns.h"

namespace vantry {

void Turns::Take() {
    Event mine(false);
    {
        ScopedLock guard(lock);
        if (free != 0) {
            --free;
            return;
        }
        waiting.push_back(&mine);
    }
    mine.Wait();
}

void Turns::GiveBack() {
    ScopedLock guard(lock);
    if (waiting.empty()) {
        ++free;
        return;
    }
    // The waiting thread owns the event and destroys it when its wait ends. It can't do so before
    // Set has finished: the wait ends under the event's own lock, which Set holds.
    waiting.front()->Set();
    waiting.pop_front();
}

}  // namespace vantry
