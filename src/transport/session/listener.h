#pragma once

#include <memory>

#include "transport/stream/stream.h"

namespace vantry {

/// Accepts the peers of one link. Open and Accept are for one thread; any thread may call Close.
class Listener {
public:
    virtual ~Listener() = default;
    /// Blocks until a peer has connected, and returns its stream, which the caller owns. Returns an
    /// empty reference if no further peer can be accepted, as after Close.
    [[nodiscard]] virtual std::shared_ptr<Stream> Accept() = 0;
    /// Prepares the listener. Called once, before the first Accept. If it fails, Accept returns an
    /// empty reference.
    virtual void Open() = 0;
    /// Makes Accept return an empty reference, now if it blocks and whenever it is called later.
    /// Further calls do nothing.
    virtual void Close() = 0;
};

}  // namespace vantry
