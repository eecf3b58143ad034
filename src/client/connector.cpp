// Connecting a socket within a deadline.
//
// The sockets are non-blocking, and each wait is a call of poll with the remaining time, which an
// interruption ends. The local
// device refuses with EAGAIN while its backlog is full; such a connect is tried again until the
// deadline. A host that loses power doesn't close its connections, so TCP sends probes over an idle
// connection and closes it when they aren't acknowledged.

#include "client/connector.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "client/name_lookup.h"

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

/// The limits of an attempt to connect.
struct Patience {
    const Deadline& deadline;
    const Interruption* interruption;
};

/// Returns 0, or the errno of what went wrong.
int WaitForConnect(int descriptor, const Patience& patience) {
    int error = ETIMEDOUT;
    socklen_t length = sizeof error;
    if (WaitFor(descriptor, POLLOUT, patience.deadline, patience.interruption)) {
        getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &length);
    }
    return error;
}

/// Returns a connected socket, or -1 with errno set.
int Connected(int family, const sockaddr* address, socklen_t size, const Patience& patience) {
    const int descriptor = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        return -1;
    }
    int error = connect(descriptor, address, size) == 0 ? 0 : errno;
    while (error == EAGAIN && !patience.deadline.HasPassed()) {
        const Deadline pause = Deadline::In(std::min(kBacklogPause, patience.deadline.Left()));
        static_cast<void>(WaitFor(-1, 0, pause, patience.interruption));
        if (patience.interruption != nullptr && patience.interruption->IsSet()) {
            break;
        }
        error = connect(descriptor, address, size) == 0 ? 0 : errno;
    }
    if (error == EINPROGRESS || error == EINTR) {
        error = WaitForConnect(descriptor, patience);
    }
    if (error == 0) {
        return descriptor;
    }
    close(descriptor);
    errno = error;
    return -1;
}

Result<int> ConnectDevice(const Endpoint& endpoint, const Patience& patience) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (endpoint.path.size() >= sizeof address.sun_path) {
        return Unreachable(endpoint, "the path is too long");
    }
    std::memcpy(address.sun_path, endpoint.path.data(), endpoint.path.size());
    const int descriptor =
        Connected(AF_UNIX, reinterpret_cast<const sockaddr*>(&address), sizeof address, patience);
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

Result<int> ConnectTcp(const Endpoint& endpoint, const Patience& patience) {
    const auto addresses =
        LookUp(endpoint.host, endpoint.port, patience.deadline, patience.interruption);
    if (!addresses) {
        return Unreachable(endpoint, addresses.error().text);
    }
    int descriptor = -1;
    for (const sockaddr_in& address : *addresses) {
        descriptor = Connected(AF_INET, reinterpret_cast<const sockaddr*>(&address), sizeof address,
                               patience);
        if (descriptor >= 0) {
            break;
        }
    }
    const int failure = errno;
    if (descriptor < 0) {
        return Unreachable(endpoint, std::strerror(failure));
    }
    WatchOverPeer(descriptor);
    return descriptor;
}

}  // namespace

bool WaitFor(int descriptor, short events, const Deadline& deadline,
             const Interruption* interruption) {
    for (;;) {
        std::array<pollfd, 2> waits{
            {{descriptor, events, 0},
             {interruption == nullptr ? -1 : interruption->Descriptor(), POLLIN, 0}}};
        const int left = deadline.IsNever() ? -1 : static_cast<int>(deadline.Left());
        const int ready = poll(waits.data(), waits.size(), left);
        if (ready >= 0 || errno != EINTR) {
            return ready > 0 && waits[1].revents == 0;
        }
    }
}

Result<int> ConnectTo(const Endpoint& endpoint, const Deadline& deadline,
                      const Interruption* interruption) {
    const Patience patience{deadline, interruption};
    return endpoint.path.empty() ? ConnectTcp(endpoint, patience)
                                 : ConnectDevice(endpoint, patience);
}

}  // namespace vantry::client
