#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "client/deadline.h"
#include "client/endpoint.h"
#include "client/interruption.h"
#include "client/result.h"
#include "transport/stream/stream.h"
#include "wire/property_message.h"

namespace vantry::client {

/// A message that was received.
struct ReceivedMessage {
    PropertyMessage message;
    /// True if the text wasn't valid, so that the message only has what Recover found.
    bool isRecovered = false;
};

/// A connected socket that sends and receives messages, each within a deadline. One thread at a
/// time may receive, and one at a time may send. Any thread may call Abort, which ends both. Errors
/// name the endpoint.
class FrameSocket final : public Stream {
public:
    /// The default bound on the length of a received text, in bytes.
    static constexpr std::uint32_t kLongest = 256U << 20U;

    /// Connects to the endpoint. Blocks until the deadline at most, or until the interruption (see
    /// ConnectTo). Receiving a text of more than `longestText` bytes fails.
    static Result<std::shared_ptr<FrameSocket>> Connect(const Endpoint& endpoint,
                                                        const Deadline& deadline,
                                                        std::uint32_t longestText = kLongest,
                                                        const Interruption* interruption = nullptr);
    /// Takes ownership of the descriptor of a connected, non-blocking socket.
    FrameSocket(int connected, std::string name, std::uint32_t longestText);
    ~FrameSocket() override;

    /// Blocks until a whole message has arrived. For a text that isn't valid, returns what Recover
    /// finds in it, which may be nothing. Fails as ReceiveText does.
    Result<std::unique_ptr<ReceivedMessage>> Receive(const Deadline& deadline);
    /// Blocks until a whole frame has arrived, and returns its text without parsing it. Returns
    /// TimedOut if none arrives by the deadline, and NoConnection if the peer has ended the
    /// connection or sends something that a hub doesn't send. Memory is allocated only for bytes
    /// that have arrived.
    Result<std::string> ReceiveText(const Deadline& deadline);
    /// Blocks until the system has accepted the whole message. Returns Refused, with nothing sent,
    /// if the message is longer than the hub accepts. Every other failure ends the connection.
    Outcome Send(const PropertyMessage& message, const Deadline& deadline);
    /// Sends any text as one frame. Blocks until the system has accepted it, without a deadline.
    /// Returns false if the connection is lost.
    [[nodiscard]] bool SendText(const std::string& text);
    /// Sends a message and receives the next one, which must be the answer: for a connection on
    /// which the hub sends nothing else.
    Result<std::unique_ptr<ReceivedMessage>> Ask(const PropertyMessage& message,
                                                 const Deadline& deadline);
    /// Ends the connection; operations in other threads then fail. Does nothing in a child process
    /// that inherited the socket.
    void Abort();
    /// Blocks until something can be received. Returns false if nothing arrives by the deadline.
    [[nodiscard]] bool WaitToReceive(const Deadline& deadline) const;
    /// Returns whether any message has been received, which shows that the peer is a hub.
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
