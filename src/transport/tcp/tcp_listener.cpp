// Accepting TCP connections.
//
// Open binds and listens. Accept reports errors of connections that failed before they
// were accepted, and those end nothing. When descriptors or memory are exhausted, Accept would fail
// again at once, so the thread pauses on an event that Close sets. Any other error means that the
// socket doesn't listen, because Open failed or Close was called.

#include "transport/tcp/tcp_listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <array>
#include <bit>
#include <cerrno>
#include <string>
#include <utility>

#include "platform/exhaustion.h"
#include "runtime/interruptible.h"
#include "transport/tcp/tcp_stream.h"

namespace vantry {
namespace {

/// Returns whether an error of accept concerns one connection only, or nothing at all.
bool IsPassing(int error) {
    switch (error) {
        case EINTR:
        case ECONNABORTED:
        case EPROTO:
        case ENETDOWN:
        case ENOPROTOOPT:
        case EHOSTDOWN:
        case ENONET:
        case EHOSTUNREACH:
        case EOPNOTSUPP:
        case ENETUNREACH:
        case EPERM:
            return true;
        default:
            return false;
    }
}

std::string AddressText(const InternetAddress& peer) {
    // inet_ntop formats it as printf does, which is a fifth of the work for a new connection.
    std::string text;
    char separator = 0;
    for (const std::uint8_t byte : std::bit_cast<std::array<std::uint8_t, 4>>(peer.address)) {
        if (separator != 0) {
            text.push_back(separator);
        }
        separator = '.';
        text.append(std::to_string(byte));
    }
    return text.append(":").append(std::to_string(ntohs(peer.port)));
}

}  // namespace

TcpListener::TcpListener(Platform& machine, std::uint16_t tcpPort, std::int32_t queueLength,
                         std::shared_ptr<OutputFlusher> sharedFlusher,
                         std::shared_ptr<HalfClosedStreams> halfClosedStreams)
    : platform(machine),
      socket(machine.descriptors, machine.descriptors.OpenTcp()),
      port(tcpPort),
      backlog(queueLength),
      flusher(std::move(sharedFlusher)),
      halfClosed(std::move(halfClosedStreams)) {}

void TcpListener::Open() {
    const SocketDescriptor::Use use(socket);
    if (!use) {
        platform.tcp.bindError = EMFILE;
        return;
    }
    InternetAddress address{htonl(platform.tcp.Address()), htons(port)};
    const int result = socket.Calls().Listen(use.Number(), address, backlog);
    if (result < 0) {
        platform.tcp.bindError = -result;
        return;
    }
    platform.tcp.boundPort = ntohs(address.port);
}

std::shared_ptr<Stream> TcpListener::Accept() {
    for (;;) {
        const SocketDescriptor::Use use(socket);
        if (!use) {
            return nullptr;
        }
        InternetAddress peer;
        int accepted = -1;
        {
            Interruptible here;
            accepted = socket.Calls().Accept(use.Number(), peer);
        }
        if (accepted >= 0) {
            if (std::shared_ptr<Stream> stream = Admit(accepted, peer)) {
                return stream;
            }
            continue;
        }
        if (IsExhaustion(-accepted)) {
            static_cast<void>(closed.Wait(kExhaustedMilliseconds));
        } else if (!IsPassing(-accepted)) {
            return nullptr;
        }
    }
}

std::shared_ptr<Stream> TcpListener::Admit(int accepted, const InternetAddress& peer) {
    const std::shared_ptr<ConnectionAccount> account =
        platform.accounting->Admit(Link::Tcp, AddressText(peer));
    if (!account) {
        socket.Calls().Close(accepted);
        return nullptr;
    }
    auto stream = std::make_shared<TcpStream>(
        peer, std::make_shared<SocketDescriptor>(socket.Calls(), accepted), account, flusher,
        halfClosed);
    Stream::GiveUpWhenCut(stream);
    return stream;
}

void TcpListener::Close() {
    closed.Set();
    socket.Close();
}

}  // namespace vantry
