#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "platform/socket_descriptor.h"
#include "runtime/event.h"
#include "transport/session/listener.h"
#include "transport/socket/output_flusher.h"
#include "transport/tcp/half_closed_streams.h"

namespace vantry {

/// Listens on one TCP port. Whatever the outside does, Accept goes on: it tries again when a peer
/// has already gone, or there is no place for it, and waits when the machine has no descriptor or
/// memory for one more.
class TcpListener final : public Listener {
public:
    TcpListener(Platform& machine, std::uint16_t tcpPort, std::int32_t queueLength,
                std::shared_ptr<OutputFlusher> sharedFlusher,
                std::shared_ptr<HalfClosedStreams> halfClosedStreams);
    ~TcpListener() override { TcpListener::Close(); }

    std::shared_ptr<Stream> Accept() override;
    void Open() override;
    void Close() override;

private:
    /// A stream over the accepted socket, or nothing, with the socket closed, if there is no place
    /// for one more connection.
    std::shared_ptr<Stream> Admit(int accepted, const sockaddr_in& peer);

    Platform& platform;
    SocketDescriptor socket;
    const std::uint16_t port;
    const std::int32_t backlog;
    const std::shared_ptr<OutputFlusher> flusher;
    const std::shared_ptr<HalfClosedStreams> halfClosed;
    Event closed{false};
};

}  // namespace vantry
