#pragma once

#include <memory>

#include "transport/stream/stream.h"

namespace vantry {

/// One transport's way of waiting for peers.
class Listener {
public:
    virtual ~Listener() = default;
    /// Waits until a peer is there. An empty reference says that no stream can be had any more.
    virtual std::shared_ptr<Stream> Accept() = 0;
    /// Prepares the listener; called once, before the first Accept. A listener that can't be
    /// opened shows it by an empty Accept.
    virtual void Open() = 0;
    /// Makes a blocked Accept return and any later one fail. From any thread, any number of times.
    virtual void Close() = 0;
};

}  // namespace vantry
