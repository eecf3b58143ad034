#include "host/socket_connection.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "runtime/interruptible.h"

namespace vantry {

SocketConnection::SocketConnection(int accepted, std::shared_ptr<OutputFlusher> flusher,
                                   OutputLimits limits)
    : socket(std::make_shared<SocketDescriptor>(Descriptors::OfSystem(), accepted)),
      output(SocketOutput::Make(socket, std::move(flusher), limits)) {}

std::int32_t SocketConnection::Read(std::uint8_t* buffer, std::int32_t length,
                                    std::int32_t milliseconds) {
    const SocketDescriptor::Use use(*socket);
    if (!use) {
        return -1;
    }
    Interruptible here;
    if (milliseconds >= 0) {
        pollfd wait{use.Number(), POLLIN, 0};
        if (poll(&wait, 1, milliseconds) == 0) {
            return 0;
        }
    }
    ssize_t count = 0;
    do {
        count = recv(use.Number(), buffer, static_cast<std::size_t>(length), 0);
    } while (count < 0 && errno == EINTR);
    return static_cast<std::int32_t>(count);
}

std::int32_t SocketConnection::Write(const std::uint8_t* buffer, std::int32_t length) {
    if (HasGoneUnread()) {
        return length;
    }
    return output->Write(buffer, static_cast<std::size_t>(length)) == 0 ? length : -1;
}

bool SocketConnection::HasGoneUnread() {
    const SocketDescriptor::Use use(*socket);
    if (!use) {
        return false;
    }
    pollfd state{use.Number(), 0, 0};
    int unread = 0;
    return poll(&state, 1, 0) > 0 && ioctl(use.Number(), FIONREAD, &unread) == 0 && unread > 0;
}

std::int32_t SocketConnection::WriteShared(const SharedFrame& frame) {
    if (HasGoneUnread()) {
        return static_cast<std::int32_t>(frame.Size());
    }
    return output->WriteShared(frame) == 0 ? static_cast<std::int32_t>(frame.Size()) : -1;
}

}  // namespace vantry
