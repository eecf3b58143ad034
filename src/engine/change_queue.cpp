#include "engine/change_queue.h"

#include <algorithm>
#include <utility>

namespace vantry {

void ChangeQueue::Push(const std::shared_ptr<Property>& changed, ChangeOrigin origin) {
    // Destroyed after the lock is released, because it may be the last reference to its property.
    std::shared_ptr<Property> dropped;
    ScopedLock guard(lock);
    const std::uint32_t held = count;
    // The last slot is never used.
    if (held + 1 < kSlots) {
        slots[held] = {changed, origin};
        externals += origin == ChangeOrigin::External ? 1 : 0;
        count = held + 1;
    } else if (origin == ChangeOrigin::Internal && externals != 0) {
        Slot& place = *NewestExternal();
        dropped = std::exchange(place.changed, changed);
        place.origin = ChangeOrigin::Internal;
        --externals;
    } else if (origin == ChangeOrigin::External) {
        if (Slot* const place = ReplaceableFor(changed)) {
            dropped = std::exchange(place->changed, changed);
        }
    }
}

ChangeQueue::Slot* ChangeQueue::NewestExternal() {
    Slot* slot = &slots[count - 1];
    while (slot->origin != ChangeOrigin::External) {
        --slot;
    }
    return slot;
}

std::ptrdiff_t ChangeQueue::EntriesOf(const std::shared_ptr<Property>& property) const {
    return std::count_if(slots.begin(), slots.begin() + count,
                         [&](const Slot& slot) { return slot.changed == property; });
}

ChangeQueue::Slot* ChangeQueue::ReplaceableFor(const std::shared_ptr<Property>& changed) {
    // Each candidate is compared with all entries, while others wait for the lock.
    constexpr std::uint32_t kCandidates = 8;
    if (externals == 0 || EntriesOf(changed) != 0) {
        return nullptr;
    }
    std::uint32_t candidates = 0;
    for (std::uint32_t place = count; place-- > 0 && candidates < kCandidates;) {
        if (slots[place].origin == ChangeOrigin::External) {
            if (EntriesOf(slots[place].changed) > 1) {
                return &slots[place];
            }
            ++candidates;
        }
    }
    return nullptr;
}

std::vector<std::shared_ptr<Property>> ChangeQueue::TakeAll() {
    std::vector<std::shared_ptr<Property>> taken;
    if (count == 0) {
        return taken;
    }
    taken.reserve(kSlots);
    ScopedLock guard(lock);
    for (std::uint32_t place = count; place-- > 0;) {
        taken.push_back(std::exchange(slots[place].changed, nullptr));
    }
    count = 0;
    externals = 0;
    return taken;
}

}  // namespace vantry
