#include "engine/change_queue.h"

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
        dropped = Replace(NewestExternal(), {changed, origin});
        --externals;
    } else if (origin == ChangeOrigin::External && externals != 0) {
        if (Slot* const slot = ReplaceableFor(*changed)) {
            dropped = Replace(*slot, {changed, origin});
        }
    }
}

ChangeQueue::Slot& ChangeQueue::NewestExternal() {
    Slot* slot = &slots[count - 1];
    while (slot->origin != ChangeOrigin::External) {
        --slot;
    }
    return *slot;
}

void ChangeQueue::CountEntries() {
    for (std::uint32_t place = 0; place < count; ++place) {
        ++census.entries[slots[place].changed.get()];
    }
    for (std::uint32_t place = 0; place < count; ++place) {
        const Slot& slot = slots[place];
        if (slot.origin == ChangeOrigin::External && census.entries[slot.changed.get()] > 1) {
            census.repeated.push_back(place);
        }
    }
}

ChangeQueue::Slot* ChangeQueue::ReplaceableFor(const Property& changed) {
    if (census.entries.empty()) {
        CountEntries();
    }
    const auto known = census.entries.find(&changed);
    if (known != census.entries.end() && known->second != 0) {
        return nullptr;
    }
    while (!census.repeated.empty()) {
        Slot& slot = slots[census.repeated.back()];
        census.repeated.pop_back();
        if (slot.origin == ChangeOrigin::External && census.entries[slot.changed.get()] > 1) {
            return &slot;
        }
    }
    return nullptr;
}

std::shared_ptr<Property> ChangeQueue::Replace(Slot& slot, Slot replacement) {
    if (!census.entries.empty()) {
        --census.entries[slot.changed.get()];
        ++census.entries[replacement.changed.get()];
    }
    return std::exchange(slot, std::move(replacement)).changed;
}

std::vector<std::shared_ptr<Property>> ChangeQueue::TakeAll() {
    std::vector<std::shared_ptr<Property>> taken;
    if (count == 0) {
        return taken;
    }
    taken.reserve(kSlots);
    Census outdated;
    ScopedLock guard(lock);
    std::swap(census, outdated);
    for (std::uint32_t place = count; place-- > 0;) {
        taken.push_back(std::exchange(slots[place].changed, nullptr));
    }
    count = 0;
    externals = 0;
    return taken;
}

}  // namespace vantry
