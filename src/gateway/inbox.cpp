#include "gateway/inbox.h"

#include <algorithm>
#include <set>
#include <utility>

namespace vantry::gateway {

bool Inbox::Add(Arrival arrival) {
    const ScopedLock guard(lock);
    waiting.push_back(std::move(arrival));
    if (waiting.size() >= most) {
        DropReplaced();
    }
    return waiting.size() == 1;
}

std::vector<Arrival> Inbox::TakeAll() {
    const ScopedLock guard(lock);
    return std::exchange(waiting, {});
}

void Inbox::DropReplaced() {
    std::set<client::PropertyId> seen;
    std::vector<Arrival> kept;
    for (auto arrival = waiting.rbegin(); arrival != waiting.rend(); ++arrival) {
        if (seen.insert(arrival->change.id).second) {
            kept.push_back(std::move(*arrival));
        }
    }
    std::reverse(kept.begin(), kept.end());
    waiting = std::move(kept);
    // It grows with the number of properties, so that dropping stays rare.
    most = std::max(most, 2 * waiting.size());
}

}  // namespace vantry::gateway
