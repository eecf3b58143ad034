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
/// for the server. If the server is so far behind that very many changes wait, only the last one of
/// each property is kept, so the memory is bounded by the number of properties. All operations are
/// thread-safe.
class Inbox {
public:
    /// Adds a change. Returns whether it is the first one that waits, so that the server must be
    /// woken up.
    bool Add(Arrival arrival);
    /// Removes and returns all changes, oldest first.
    std::vector<Arrival> TakeAll();

private:
    void DropReplaced() REQUIRES(lock);

    Lock lock;
    std::vector<Arrival> waiting GUARDED_BY(lock);
    /// The number at which replaced changes are dropped.
    std::size_t most GUARDED_BY(lock) = 20'000;
};

}  // namespace vantry::gateway
