#include "client/frame_socket.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>

#include "client/recovery.h"
#include "runtime/clock.h"
#include "transport/frame/frame.h"
#include "wire/json/json_reader.h"

namespace vantry::client {
namespace {

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

std::uint64_t DeadlineIn(std::uint32_t milliseconds) {
    return milliseconds == FrameSocket::kForever
               ? kNever
               : NowNanoseconds() + milliseconds * kNanosecondsPerMillisecond;
}

/// What poll takes for the time that is left, rounded up.
int Remaining(std::uint64_t deadline) {
    if (deadline == kNever) {
        return -1;
    }
    const std::uint64_t now = NowNanoseconds();
    const std::uint64_t left = deadline > now ? deadline - now : 0;
    return static_cast<int>(std::min<std::uint64_t>(
        (left + kNanosecondsPerMillisecond - 1) / kNanosecondsPerMillisecond,
        std::numeric_limits<int>::max()));
}

bool Poll(int descriptor, short events, std::uint64_t deadline) {
    for (;;) {
        pollfd wait{descriptor, events, 0};
        const int ready = poll(&wait, 1, Remaining(deadline));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

Error Unreachable(const Endpoint& endpoint, const std::string& why) {
    return {ErrorCode::NoConnection, "can't reach the hub at " + endpoint.Name() + ": " + why};
}

/// A connected, non-blocking socket; -1 with errno set.
int ConnectTo(int family, const sockaddr* address, socklen_t size, std::uint64_t deadline) {
    const int descriptor = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0 || connect(descriptor, address, size) == 0) {
        return descriptor;
    }
    int error = errno;
    if (error == EINPROGRESS) {
        socklen_t length = sizeof error;
        error = ETIMEDOUT;
        if (Poll(descriptor, POLLOUT, deadline)) {
            getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &length);
        }
    }
    if (error == 0) {
        return descriptor;
    }
    close(descriptor);
    errno = error;
    return -1;
}

Result<int> ConnectDevice(const Endpoint& endpoint, std::uint64_t deadline) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (endpoint.path.size() >= sizeof address.sun_path) {
        return Unreachable(endpoint, "the path is too long");
    }
    std::memcpy(address.sun_path, endpoint.path.data(), endpoint.path.size());
    const int descriptor =
        ConnectTo(AF_UNIX, reinterpret_cast<const sockaddr*>(&address), sizeof address, deadline);
    if (descriptor < 0) {
        return Unreachable(endpoint, std::strerror(errno));
    }
    return descriptor;
}

Result<int> ConnectTcp(const Endpoint& endpoint, std::uint64_t deadline) {
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
        descriptor = ConnectTo(entry->ai_family, entry->ai_addr, entry->ai_addrlen, deadline);
    }
    const int failure = errno;
    freeaddrinfo(list);
    if (descriptor < 0) {
        return Unreachable(endpoint, std::strerror(failure));
    }
    return descriptor;
}

}  // namespace

Result<std::shared_ptr<FrameSocket>> FrameSocket::Connect(const Endpoint& endpoint,
                                                          std::uint32_t deadlineMilliseconds) {
    const std::uint64_t deadline = DeadlineIn(deadlineMilliseconds);
    const Result<int> connected =
        endpoint.path.empty() ? ConnectTcp(endpoint, deadline) : ConnectDevice(endpoint, deadline);
    if (!connected) {
        return connected.error();
    }
    return std::make_shared<FrameSocket>(*connected);
}

FrameSocket::~FrameSocket() { close(descriptor); }

void FrameSocket::Abort() { shutdown(descriptor, SHUT_RDWR); }

bool FrameSocket::WaitToReceive(std::uint32_t milliseconds) {
    receiveDeadline = kNoDeadline;
    return WaitFor(POLLIN, DeadlineIn(milliseconds));
}

bool FrameSocket::WaitFor(short events, std::uint64_t deadline) const {
    return Poll(descriptor, events, deadline);
}

std::int32_t FrameSocket::Read(std::uint8_t* buffer, std::int32_t length) {
    for (;;) {
        const ssize_t count = recv(descriptor, buffer, static_cast<std::size_t>(length), 0);
        if (count >= 0) {
            return count == 0 ? StreamCode::kEndOfData : static_cast<std::int32_t>(count);
        }
        if (errno != EAGAIN && errno != EINTR) {
            return StreamCode::kError;
        }
        if (!WaitFor(POLLIN, receiveDeadline)) {
            return StreamCode::kLinkLost;
        }
    }
}

std::int32_t FrameSocket::Write(const std::uint8_t* buffer, std::int32_t length) {
    std::int32_t sent = 0;
    while (sent < length) {
        const ssize_t count =
            send(descriptor, buffer + sent, static_cast<std::size_t>(length - sent), MSG_NOSIGNAL);
        if (count > 0) {
            sent += static_cast<std::int32_t>(count);
        } else if (errno != EAGAIN && errno != EINTR) {
            return StreamCode::kError;
        } else if (!WaitFor(POLLOUT, sendDeadline)) {
            return sent;
        }
    }
    return sent;
}

Result<std::unique_ptr<PropertyMessage>> FrameSocket::Receive(std::uint32_t milliseconds) {
    const Result<std::string> text = ReceiveText(milliseconds);
    if (!text) {
        return text.error();
    }
    auto message = std::make_unique<PropertyMessage>();
    JsonValue root;
    if (ParseJson(*text, root).empty() && root.type == JsonType::Object) {
        message->Adopt(std::move(root.object));
    } else {
        message->EncodeGetResponses(RecoverResponses(*text));
    }
    return message;
}

bool FrameSocket::ReadWhole(void* buffer, std::size_t count) {
    auto* next = static_cast<std::uint8_t*>(buffer);
    while (count > 0) {
        const std::int32_t got = Read(next, static_cast<std::int32_t>(count));
        if (got <= 0) {
            return false;
        }
        next += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

Result<std::string> FrameSocket::ReceiveText(std::uint32_t milliseconds) {
    receiveDeadline = DeadlineIn(milliseconds);
    std::array<std::uint8_t, Frame::kHeadBytes> head{};
    if (ReadWhole(head.data(), head.size())) {
        std::uint32_t length = 0;
        for (std::size_t place = head.size(); place-- > Frame::kMagicBytes;) {
            length = length << 8 | head[place];
        }
        std::string text(length, '\0');
        if (ReadWhole(text.data(), length)) {
            return text;
        }
    }
    if (receiveDeadline != kNever && NowNanoseconds() >= receiveDeadline) {
        return Error{ErrorCode::TimedOut, "the hub did not answer in time"};
    }
    return Error{ErrorCode::NoConnection, "the hub has ended the connection"};
}

Outcome FrameSocket::Send(PropertyMessage& message, std::uint32_t milliseconds) {
    sendDeadline = DeadlineIn(milliseconds);
    if (message.WriteTo(*this)) {
        return Done{};
    }
    Abort();
    if (NowNanoseconds() >= sendDeadline) {
        return Error{ErrorCode::TimedOut, "the hub did not take the message in time"};
    }
    return Error{ErrorCode::NoConnection, "the connection to the hub is lost"};
}

Result<std::unique_ptr<PropertyMessage>> FrameSocket::Ask(PropertyMessage& message,
                                                          std::uint32_t milliseconds) {
    const Outcome sent = Send(message, milliseconds);
    if (!sent) {
        return sent.error();
    }
    return Receive(milliseconds);
}

}  // namespace vantry::client
