#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "transport/session/listener.h"
#include "transport/socket/output_flusher.h"
#include "transport/tcp/half_closed_streams.h"

namespace vantry {

/// Makes the listeners of TCP, and owns the thread that serves slow peers of all their streams.
class SocketLayer {
public:
    /// The platform may replace what MakeListener is asked for, and learns what was bound. It must
    /// outlive the layer and all that it makes.
    explicit SocketLayer(Platform& machine);
    /// What still waits for slow peers is dropped.
    ~SocketLayer();
    SocketLayer(const SocketLayer&) = delete;
    SocketLayer& operator=(const SocketLayer&) = delete;

    /// A listener for the port. Port 65534 means none: a NullListener.
    std::shared_ptr<Listener> MakeListener(std::uint16_t port, std::int32_t backlog);

private:
    Platform& platform;
    const std::shared_ptr<OutputFlusher> flusher;
    const std::shared_ptr<HalfClosedStreams> halfClosed;
};

}  // namespace vantry
