#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/lock.h"
#include "transport/stream/stream.h"
#include "wire/property_records.h"

namespace vantry {

/// One stream that has subscribed, and what it wants to hear of: a list of properties, or
/// everything while the list is empty. Guarded by the engine's subscribersLock.
class Subscriber {
public:
    /// Takes the whole list, repeated entries included.
    Subscriber(std::shared_ptr<Stream> peer, std::deque<PropertyRequest> wanted);

    std::uint32_t Id() const { return id; }
    Stream& Peer() const { return *stream; }
    /// Keeps the frames of two writers of the stream apart. A copy outlives the subscriber.
    const Lock& SendLock() const RETURN_CAPABILITY(sendLock) { return sendLock; }

    bool WantsEverything() const { return listed == 0; }
    /// Whether the list has an entry with this full key.
    bool Lists(const std::string& fullKey) const { return entries.contains(fullKey); }
    /// Adds to the list what isn't there yet.
    void Add(std::deque<PropertyRequest> wanted);
    /// Takes the first entry with this full key off the list.
    void Forget(const std::string& fullKey);

private:
    void Append(PropertyRequest request);

    std::shared_ptr<Stream> stream;
    std::uint32_t id;
    Lock sendLock;
    /// The list by full key; different entries may share one, so each has a row.
    std::unordered_map<std::string, std::vector<PropertyRequest>> entries;
    std::size_t listed = 0;
};

}  // namespace vantry
