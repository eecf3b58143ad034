// Connecting a socket within a deadline.
//
// The sockets are non-blocking, and each wait is a call of poll with the remaining time. The local
// device refuses with EAGAIN while its backlog is full; such a connect is tried again until the
// deadline. A host that loses power doesn't close its connections, so TCP sends probes over an idle
// connection and closes it when they aren't acknowledged.

#include "client/connector.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vantry::client {
namespace {

constexpr int kSecondsBeforeProbes = 15;
constexpr int kSecondsBetweenProbes = 5;
constexpr int kProbes = 3;
constexpr int kMillisecondsUnacknowledged = 30'000;
/// The pause before the next attempt when the backlog is full, in milliseconds.
constexpr std::uint32_t kBacklogPause = 10;

Error Unreachable(const Endpoint& endpoint, const std::string& why) {
    return {ErrorCode::NoConnection, "can't reach the hub at " + endpoint.Name() + ": " + why};
}

/// Returns 0, or the errno of what went wrong.
int WaitForConnect(int descriptor, const Deadline& deadline) {
    int error = ETIMEDOUT;
    socklen_t length = sizeof error;
    if (WaitFor(descriptor, POLLOUT, deadline)) {
        getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &length);
    }
    return error;
}

/// Returns a connected socket, or -1 with errno set.
int Connected(int family, const sockaddr* address, socklen_t size, const Deadline& deadline) {
    const int descriptor = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        return -1;
    }
    int error = connect(descriptor, address, size) == 0 ? 0 : errno;
    while (error == EAGAIN && !deadline.HasPassed()) {
        static_cast<void>(
            poll(nullptr, 0, static_cast<int>(std::min(kBacklogPause, deadline.Left()))));
        error = connect(descriptor, address, size) == 0 ? 0 : errno;
    }
    if (error == EINPROGRESS || error == EINTR) {
        error = WaitForConnect(descriptor, deadline);
    }
    if (error == 0) {
        return descriptor;
    }
    close(descriptor);
    errno = error;
    return -1;
}

Result<int> ConnectDevice(const Endpoint& endpoint, const Deadline& deadline) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (endpoint.path.size() >= sizeof address.sun_path) {
        return Unreachable(endpoint, "the path is too long");
    }
    std::memcpy(address.sun_path, endpoint.path.data(), endpoint.path.size());
    const int descriptor =
        Connected(AF_UNIX, reinterpret_cast<const sockaddr*>(&address), sizeof address, deadline);
    if (descriptor < 0) {
        return Unreachable(endpoint, std::strerror(errno));
    }
    return descriptor;
}

void WatchOverPeer(int descriptor) {
    const auto set = [&](int level, int option, int value) {
        setsockopt(descriptor, level, option, &value, sizeof value);
    };
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, kSecondsBeforeProbes);
    set(IPPROTO_TCP, TCP_KEEPINTVL, kSecondsBetweenProbes);
    set(IPPROTO_TCP, TCP_KEEPCNT, kProbes);
    set(IPPROTO_TCP, TCP_USER_TIMEOUT, kMillisecondsUnacknowledged);
}

Result<int> ConnectTcp(const Endpoint& endpoint, const Deadline& deadline) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int error =
        getaddrinfo(endpoint.host.c_str(), std::to_string(endpoint.port).c_str(), &hints, &list);
    if (error != 0) {
        return Unreachable(endpoint, gai_strerror(error));
    }
    int descriptor = -1;
    for (const addrinfo* entry = list; entry != nullptr && descriptor < 0; entry = entry->ai_next) {
        descriptor = Connected(entry->ai_family, entry->ai_addr, entry->ai_addrlen, deadline);
    }
    const int failure = errno;
    freeaddrinfo(list);
    if (descriptor < 0) {
        return Unreachable(endpoint, std::strerror(failure));
    }
    WatchOverPeer(descriptor);
    return descriptor;
}

}  // namespace

bool WaitFor(int descriptor, short events, const Deadline& deadline) {
    for (;;) {
        pollfd wait{descriptor, events, 0};
        const int left = deadline.IsNever() ? -1 : static_cast<int>(deadline.Left());
        const int ready = poll(&wait, 1, left);
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

Result<int> ConnectTo(const Endpoint& endpoint, const Deadline& deadline) {
    return endpoint.path.empty() ? ConnectTcp(endpoint, deadline)
                                 : ConnectDevice(endpoint, deadline);
}

}  // namespace vantry::client
