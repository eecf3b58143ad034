// Messages over a socket.
//
// The frame reader of the hub is used here too: it compares the magic, bounds the length, and
// allocates memory only for bytes that have arrived. It needs the whole head, but another kind of
// server may send a shorter greeting and then wait. Therefore the first bytes of a connection are
// peeked at: if they don't begin as a frame does, the peer isn't a hub.
//
// The class is a Stream, so the frame reader and writer use it as any other. Its Read and Write
// block until the deadlines that the current operations have stored.

#include "client/frame_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "client/connector.h"
#include "client/recovery.h"
#include "transport/frame/frame.h"
#include "transport/frame/frame_reader.h"
#include "wire/json/json_reader.h"

namespace vantry::client {

Result<std::shared_ptr<FrameSocket>> FrameSocket::Connect(const Endpoint& endpoint,
                                                          const Deadline& deadline,
                                                          std::uint32_t longestText,
                                                          const Interruption* interruption) {
    const Result<int> connected = ConnectTo(endpoint, deadline, interruption);
    if (!connected) {
        return connected.error();
    }
    return std::make_shared<FrameSocket>(*connected, endpoint.Name(), longestText);
}

FrameSocket::FrameSocket(int connected, std::string name, std::uint32_t longestText)
    : Stream(1),
      descriptor(connected),
      endpointName(std::move(name)),
      longest(longestText),
      process(getpid()) {}

FrameSocket::~FrameSocket() { close(descriptor); }

void FrameSocket::Abort() {
    if (getpid() == process) {
        shutdown(descriptor, SHUT_RDWR);
    }
}

bool FrameSocket::WaitToReceive(const Deadline& deadline) const {
    return WaitFor(descriptor, POLLIN, deadline);
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
        if (!WaitFor(descriptor, POLLIN, receiveDeadline)) {
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
        } else if (!WaitFor(descriptor, POLLOUT, sendDeadline)) {
            return sent;
        }
    }
    return sent;
}

bool FrameSocket::BeginsAsAFrame() const {
    std::array<std::uint8_t, Frame::kMagicBytes> begin;
    const ssize_t count = recv(descriptor, begin.data(), begin.size(), MSG_PEEK);
    return count <= 0 ||
           std::equal(begin.begin(), begin.begin() + count, MessageFrameMagic.begin());
}

Error FrameSocket::NotAHub() const {
    return {ErrorCode::NoConnection, "what answers at " + endpointName + " isn't a property hub"};
}

Result<std::string> FrameSocket::ReceiveText(const Deadline& deadline) {
    receiveDeadline = deadline;
    if (!hasReceived && WaitToReceive(deadline) && !BeginsAsAFrame()) {
        return NotAHub();
    }
    std::string text;
    switch (ReadFrame(*this, text, longest)) {
        case FrameEnd::Whole:
            hasReceived = true;
            return text;
        case FrameEnd::NotAFrame:
            return NotAHub();
        case FrameEnd::WrongLength:
            return Error{ErrorCode::NoConnection,
                         "the hub at " + endpointName + " sends a message without text or with " +
                             "more than " + std::to_string(longest) + " bytes"};
        default:
            break;
    }
    if (deadline.HasPassed()) {
        return Error{ErrorCode::TimedOut, "the hub at " + endpointName + " did not answer in time"};
    }
    return Error{ErrorCode::NoConnection,
                 "the hub at " + endpointName + " has ended the connection"};
}

Result<std::unique_ptr<ReceivedMessage>> FrameSocket::Receive(const Deadline& deadline) {
    const Result<std::string> text = ReceiveText(deadline);
    if (!text) {
        return text.error();
    }
    auto received = std::make_unique<ReceivedMessage>();
    JsonValue root;
    if (ParseJson(*text, root).empty() && root.type == JsonType::Object) {
        received->message.Adopt(std::move(root.object));
    } else {
        received->isRecovered = true;
        Recover(*text, received->message);
    }
    return received;
}

Outcome FrameSocket::Send(const PropertyMessage& message, const Deadline& deadline) {
    MessageFrame frame = message.ToFrame();
    if (frame.Buffer().size() > Frame::kHeadBytes + std::size_t{Frame::kMaximumText}) {
        return Error{ErrorCode::Refused, "the hub takes no message of more than " +
                                             std::to_string(Frame::kMaximumText) + " bytes"};
    }
    sendDeadline = deadline;
    if (frame.WriteTo(*this)) {
        return Done{};
    }
    Abort();
    if (deadline.HasPassed()) {
        return Error{ErrorCode::TimedOut,
                     "the hub at " + endpointName + " did not take the message in time"};
    }
    return Error{ErrorCode::NoConnection,
                 "the connection to the hub at " + endpointName + " is lost"};
}

bool FrameSocket::SendText(const std::string& text) {
    MessageFrame frame;
    frame.Buffer() += text;
    sendDeadline = Deadline::Never();
    return frame.WriteTo(*this);
}

Result<std::unique_ptr<ReceivedMessage>> FrameSocket::Ask(const PropertyMessage& message,
                                                          const Deadline& deadline) {
    const Outcome sent = Send(message, deadline);
    if (!sent) {
        return sent.error();
    }
    return Receive(deadline);
}

}  // namespace vantry::client
