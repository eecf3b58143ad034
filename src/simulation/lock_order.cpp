#include "simulation/lock_order.h"

#include <algorithm>

namespace vantry::simulation {

bool LockOrder::NoteTaking(const void* thread, const void* lock) {
    const auto mine = held.find(thread);
    if (mine == held.end()) {
        return true;
    }
    for (const void* const before : mine->second) {
        if (followers[before].insert(lock).second && Leads(lock, before)) {
            return false;
        }
    }
    return true;
}

void LockOrder::NoteGivenBack(const void* thread, const void* lock) {
    std::vector<const void*>& mine = held[thread];
    mine.erase(std::remove(mine.begin(), mine.end(), lock), mine.end());
    if (mine.empty()) {
        held.erase(thread);
    }
}

void LockOrder::Forget(const void* lock) {
    followers.erase(lock);
    for (auto& [before, after] : followers) {
        after.erase(lock);
    }
}

bool LockOrder::Leads(const void* from, const void* to) const {
    std::vector<const void*> open{from};
    std::set<const void*> seen;
    while (!open.empty()) {
        const void* const lock = open.back();
        open.pop_back();
        if (lock == to) {
            return true;
        }
        const auto found = followers.find(lock);
        if (seen.insert(lock).second && found != followers.end()) {
            open.insert(open.end(), found->second.begin(), found->second.end());
        }
    }
    return false;
}

}  // namespace vantry::simulation
