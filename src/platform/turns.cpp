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
    // Set under the lock: the event's owner can't return and destroy it before that, since its
    // wait ends with a lock of its own that Set holds.
    waiting.front()->Set();
    waiting.pop_front();
}

}  // namespace vantry
