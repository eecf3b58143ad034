#pragma once

#include <cstdint>
#include <deque>
#include <memory>

#include "runtime/lock.h"

namespace vantry {

class TcpStream;

/// The streams whose peers have ended their sending side. Such a stream may still be written to for
/// as long as a subscription of it lasts, and nothing tells whether its peer still listens, so
/// their number is bounded: the account of the oldest beyond it is cut.
/// Any thread may call it.
class HalfClosedStreams {
public:
    explicit HalfClosedStreams(std::uint64_t bound) : most(bound) {}

    void Add(std::weak_ptr<TcpStream> stream);

private:
    const std::uint64_t most;

    Lock lock;
    std::deque<std::weak_ptr<TcpStream>> streams GUARDED_BY(lock);
};

}  // namespace vantry
