#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "client/frame_socket.h"

namespace vantry::cli {

/// A connection to the hub that carries any texts in frames. One thread may send while another
/// receives.
class RawSocket {
public:
    /// Connects within the time. The caller owns the connection.
    static client::Result<std::unique_ptr<RawSocket>> Connect(const client::Endpoint& endpoint,
                                                              std::uint32_t milliseconds) {
        auto connected = client::FrameSocket::Connect(endpoint, client::Deadline::In(milliseconds));
        if (!connected) {
            return connected.error();
        }
        return std::make_unique<RawSocket>(*connected);
    }
    explicit RawSocket(std::shared_ptr<client::FrameSocket> connected)
        : socket(std::move(connected)) {}

    /// Sends the text as one frame. Returns false if the connection is lost.
    bool Send(const std::string& text) { return socket->SendText(text); }

    struct Received {
        std::optional<std::string> text;
        bool ended;
    };
    /// Returns the next message, or none if none begins to arrive within the time. Blocks until one
    /// that has begun is complete.
    Received Receive(std::uint32_t milliseconds) {
        if (!socket->WaitToReceive(client::Deadline::In(milliseconds))) {
            return {std::nullopt, false};
        }
        auto text = socket->ReceiveText(client::Deadline::Never());
        return text ? Received{std::move(*text), false} : Received{std::nullopt, true};
    }

private:
    const std::shared_ptr<client::FrameSocket> socket;
};

}  // namespace vantry::cli
