// Accepting TCP connections.
//
// Open binds and listens; it sets SO_REUSEADDR, so that connections of an earlier hub that are
// being closed don't keep the port. accept reports errors of connections that failed before they
// were accepted, and those end nothing. When descriptors or memory are exhausted, accept would fail
// again at once, so the thread pauses on an event that Close sets. Any other error means that the
// socket doesn't listen, because Open failed or Close was called.

#include "transport/tcp/tcp_listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
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

std::string AddressText(const sockaddr_in& peer) {
    std::array<char, INET_ADDRSTRLEN> address{};
    inet_ntop(AF_INET, &peer.sin_addr, address.data(), address.size());
    return std::string(address.data()) + ":" + std::to_string(ntohs(peer.sin_port));
}

}  // namespace

TcpListener::TcpListener(Platform& machine, std::uint16_t tcpPort, std::int32_t queueLength,
                         std::shared_ptr<OutputFlusher> sharedFlusher,
                         std::shared_ptr<HalfClosedStreams> halfClosedStreams)
    : platform(machine),
      socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP)),
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
    // The port is still refused if another socket listens on it.
    const int on = 1;
    setsockopt(use.Number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(platform.tcp.Address());
    address.sin_port = htons(port);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(use.Number(), generic, size) != 0 || listen(use.Number(), backlog) != 0 ||
        getsockname(use.Number(), generic, &size) != 0) {
        platform.tcp.bindError = errno;
        return;
    }
    platform.tcp.boundPort = ntohs(address.sin_port);
}

std::shared_ptr<Stream> TcpListener::Accept() {
    for (;;) {
        const SocketDescriptor::Use use(socket);
        if (!use) {
            return nullptr;
        }
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        int accepted = -1;
        {
            Interruptible here;
            accepted =
                accept4(use.Number(), reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC);
        }
        const int error = errno;
        if (accepted >= 0) {
            if (std::shared_ptr<Stream> stream = Admit(accepted, peer)) {
                return stream;
            }
            continue;
        }
        if (IsExhaustion(error)) {
            static_cast<void>(closed.Wait(kExhaustedMilliseconds));
        } else if (!IsPassing(error)) {
            return nullptr;
        }
    }
}

std::shared_ptr<Stream> TcpListener::Admit(int accepted, const sockaddr_in& peer) {
    const std::shared_ptr<ConnectionAccount> account =
        platform.accounting->Admit(Link::Tcp, AddressText(peer));
    if (!account) {
        close(accepted);
        return nullptr;
    }
    auto stream = std::make_shared<TcpStream>(peer.sin_addr.s_addr, peer.sin_port, accepted,
                                              account, flusher, halfClosed);
    Stream::GiveUpWhenCut(stream);
    return stream;
}

void TcpListener::Close() {
    closed.Set();
    socket.Close();
}

}  // namespace vantry
