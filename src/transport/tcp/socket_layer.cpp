#include "transport/tcp/socket_layer.h"

#include "transport/session/null_listener.h"
#include "transport/tcp/tcp_listener.h"

namespace vantry {

SocketLayer::SocketLayer(Platform& machine)
    : platform(machine),
      flusher(std::make_shared<OutputFlusher>(machine.descriptors,
                                              machine.accounting->Bounds()[Bound::EndedPeers])),
      halfClosed(
          std::make_shared<HalfClosedStreams>(machine.accounting->Bounds()[Bound::EndedPeers])) {}

SocketLayer::~SocketLayer() { flusher->Stop(); }

std::shared_ptr<Listener> SocketLayer::MakeListener(std::uint16_t port, std::int32_t backlog) {
    const std::uint16_t real = platform.tcp.PortInPlaceOf(port);
    if (real == TcpListening::kNoPort) {
        return std::make_shared<NullListener>();
    }
    return std::make_shared<TcpListener>(platform, real, backlog, flusher, halfClosed);
}

}  // namespace vantry
