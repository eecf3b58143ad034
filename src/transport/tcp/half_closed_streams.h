#pragma once

#include <cstdint>
#include <deque>
#include <memory>

#include "runtime/lock.h"

namespace vantry {

class TcpStream;

/// The streams whose peers have ended their sending side. The hub still writes to such a stream
/// while it has a subscription, and can't find out whether its peer still reads, so their number is
/// bounded: when one is added beyond the bound, the account of the oldest is cut. Thread-safe.
class HalfClosedStreams {
public:
    explicit HalfClosedStreams(std::uint64_t bound) : most(bound) {}

    /// Adds a stream, and cuts the oldest if the bound is exceeded. Doesn't wait for a peer.
    void Add(std::weak_ptr<TcpStream> stream);

private:
    const std::uint64_t most;

    Mutex lock;
    std::deque<std::weak_ptr<TcpStream>> streams GUARDED_BY(lock);
};

}  // namespace vantry
