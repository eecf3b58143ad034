#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "client/deadline.h"
#include "client/endpoint.h"
#include "client/result.h"
#include "transport/stream/stream.h"
#include "wire/property_message.h"

namespace vantry::client {

/// A message that was received.
struct ReceivedMessage {
    PropertyMessage message;
    /// True if the text wasn't a good document, and the message holds what could be recovered.
    bool isRecovered = false;
};

/// A connected socket that speaks messages, each within a deadline. One thread receives and one at
/// a time sends; Abort may come from any thread and ends both. Errors name the endpoint.
class FrameSocket final : public Stream {
public:
    /// The longest text of a message that is received unless a program says otherwise.
    static constexpr std::uint32_t kLongest = 256U << 20U;

    /// Connects and owns the connection. Blocks until the deadline at most. A text that is longer
    /// than `longestText` bytes ends the connection when it is received.
    static Result<std::shared_ptr<FrameSocket>> Connect(const Endpoint& endpoint,
                                                        const Deadline& deadline,
                                                        std::uint32_t longestText = kLongest);
    FrameSocket(int connected, std::string name, std::uint32_t longestText);
    ~FrameSocket() override;

    /// Blocks until a message is there whole. A text that is no good document gives what could be
    /// recovered of it, which may be nothing.
    Result<std::unique_ptr<ReceivedMessage>> Receive(const Deadline& deadline);
    /// The text of the next message, whatever it is. NoConnection if the peer has ended the
    /// connection or sends something that a hub doesn't send.
    Result<std::string> ReceiveText(const Deadline& deadline);
    /// Blocks until the system has taken the whole message. Refused, with nothing sent and the
    /// connection as it was, if the hub would take none of this length; every other failure ends
    /// the connection.
    Outcome Send(const PropertyMessage& message, const Deadline& deadline);
    /// Sends and receives: for a connection on which nothing comes unasked.
    Result<std::unique_ptr<ReceivedMessage>> Ask(const PropertyMessage& message,
                                                 const Deadline& deadline);
    /// Ends the connection. In a child process that inherited it, this does nothing.
    void Abort();
    /// Waits until something can be received; false if nothing comes by the deadline.
    bool WaitToReceive(const Deadline& deadline) const;
    /// Whether any message has been received: only then is the peer known to be a hub.
    bool HasReceived() const { return hasReceived; }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    void Close() override { Abort(); }

private:
    bool BeginsAsAFrame() const;
    Error NotAHub() const;

    const int descriptor;
    const std::string endpointName;
    const std::uint32_t longest;
    const pid_t process;
    Deadline receiveDeadline = Deadline::Never();
    Deadline sendDeadline = Deadline::Never();
    std::atomic<bool> hasReceived{false};
};

}  // namespace vantry::client
