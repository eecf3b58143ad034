#include "engine/change_queue.h"

#include <utility>

namespace vantry {

void ChangeQueue::Push(const std::shared_ptr<Property>& changed) {
    ScopedLock guard(lock);
    const std::uint32_t held = count;
    // The last slot stays free.
    if (held + 1 < kSlots) {
        slots[held] = changed;
        count = held + 1;
    }
}

std::shared_ptr<Property> ChangeQueue::Pop() {
    if (count == 0) {
        return nullptr;
    }
    ScopedLock guard(lock);
    const std::uint32_t held = count;
    if (held == 0) {
        return nullptr;
    }
    count = held - 1;
    return std::exchange(slots[held - 1], nullptr);
}

}  // namespace vantry
