#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "transport/session/listener.h"
#include "transport/socket/output_flusher.h"
#include "transport/tcp/half_closed_streams.h"

namespace vantry {

/// Makes the listeners of TCP, and owns the OutputFlusher of their streams.
class SocketLayer {
public:
    /// The platform's TcpListening may replace the port of MakeListener, and gets the result of
    /// listening. The platform must outlive the layer and all objects that it makes.
    explicit SocketLayer(Platform& machine);
    /// Stops the flusher: output that still waits for slow peers is dropped.
    ~SocketLayer();
    SocketLayer(const SocketLayer&) = delete;
    SocketLayer& operator=(const SocketLayer&) = delete;

    /// Returns a listener for the port with a queue of `backlog` connections, not yet opened. For
    /// TcpListening::kNoPort it is a NullListener. Doesn't block.
    std::shared_ptr<Listener> MakeListener(std::uint16_t port, std::int32_t backlog);

private:
    Platform& platform;
    const std::shared_ptr<OutputFlusher> flusher;
    const std::shared_ptr<HalfClosedStreams> halfClosed;
};

}  // namespace vantry
