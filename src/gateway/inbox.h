#pragma once

#include <cstddef>
#include <vector>

#include "gateway/property_json.h"
#include "runtime/lock.h"

namespace vantry::gateway {

/// A change as it came from the hub, with the time of its arrival.
struct Arrival {
    client::Property change;
    Time time;
};

/// Carries changes from the thread of the client library to that of the server. Adding never waits
/// for the server. If the server is so far behind that very many changes wait, or long ones, only
/// the last one of each property is kept, so the memory is bounded by what the properties hold. All
/// operations are thread-safe.
class Inbox {
public:
    /// Adds a change. Returns whether it is the first one that waits, so that the server must be
    /// woken up.
    bool Add(Arrival arrival);
    /// Removes and returns all changes, oldest first.
    std::vector<Arrival> TakeAll();

private:
    void DropReplaced() REQUIRES(lock);

    Mutex lock;
    std::vector<Arrival> waiting GUARDED_BY(lock);
    std::size_t bytes GUARDED_BY(lock) = 0;
    /// The number and the bytes of values at which replaced changes are dropped.
    std::size_t most GUARDED_BY(lock) = 20'000;
    std::size_t mostBytes GUARDED_BY(lock) = 64U << 20U;
};

}  // namespace vantry::gateway
