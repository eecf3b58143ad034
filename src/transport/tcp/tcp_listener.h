#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "platform/socket_descriptor.h"
#include "runtime/event.h"
#include "transport/session/listener.h"
#include "transport/socket/output_flusher.h"
#include "transport/tcp/half_closed_streams.h"

namespace vantry {

/// Listens on one TCP port. No peer can make Accept fail: it tries again if a peer has disconnected
/// before it was accepted or if the bound on connections is reached, and pauses if the machine has
/// no descriptor or memory for a connection.
///
/// Open stores the port that was bound, or the error number, in the platform's TcpListening.
class TcpListener final : public Listener {
public:
    TcpListener(Platform& machine, std::uint16_t tcpPort, std::int32_t queueLength,
                std::shared_ptr<OutputFlusher> sharedFlusher,
                std::shared_ptr<HalfClosedStreams> halfClosedStreams);
    ~TcpListener() override { TcpListener::Close(); }

    [[nodiscard]] std::shared_ptr<Stream> Accept() override;
    void Open() override;
    void Close() override;

private:
    /// Returns a stream over the accepted socket. Returns an empty reference, with the socket
    /// closed, if the bound on connections is reached.
    std::shared_ptr<Stream> Admit(int accepted, const InternetAddress& peer);

    Platform& platform;
    SocketDescriptor socket;
    const std::uint16_t port;
    const std::int32_t backlog;
    const std::shared_ptr<OutputFlusher> flusher;
    const std::shared_ptr<HalfClosedStreams> halfClosed;
    Event closed{false};
};

}  // namespace vantry
