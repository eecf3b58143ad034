#include "gateway/inbox.h"

#include <algorithm>
#include <set>
#include <utility>

namespace vantry::gateway {

bool Inbox::Add(Arrival arrival) {
    const ScopedLock guard(lock);
    bytes += arrival.change.value.size();
    waiting.push_back(std::move(arrival));
    if (waiting.size() >= most || bytes >= mostBytes) {
        DropReplaced();
    }
    return waiting.size() == 1;
}

std::vector<Arrival> Inbox::TakeAll() {
    const ScopedLock guard(lock);
    bytes = 0;
    return std::exchange(waiting, {});
}

void Inbox::DropReplaced() {
    std::set<client::PropertyId> seen;
    std::vector<Arrival> kept;
    bytes = 0;
    for (auto arrival = waiting.rbegin(); arrival != waiting.rend(); ++arrival) {
        if (seen.insert(arrival->change.id).second) {
            bytes += arrival->change.value.size();
            kept.push_back(std::move(*arrival));
        }
    }
    std::reverse(kept.begin(), kept.end());
    waiting = std::move(kept);
    // The bounds grow with the properties, so that dropping stays rare.
    most = std::max(most, 2 * waiting.size());
    mostBytes = std::max(mostBytes, 2 * bytes);
}

}  // namespace vantry::gateway
