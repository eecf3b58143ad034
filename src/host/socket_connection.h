#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/socket_descriptor.h"
#include "transport/socket/output_flusher.h"
#include "transport/socket/socket_output.h"

namespace vantry {

/// A client of a device socket. Read blocks; no other operation does. All operations are
/// thread-safe.
class SocketConnection {
public:
    /// Becomes the owner of the accepted descriptor.
    SocketConnection(int accepted, std::shared_ptr<OutputFlusher> flusher, OutputLimits limits);
    ~SocketConnection() { Close(); }
    SocketConnection(const SocketConnection&) = delete;
    SocketConnection& operator=(const SocketConnection&) = delete;

    /// Blocks until bytes arrive, for at most `milliseconds`, or without a limit if that is -1.
    /// Returns their number; 0 if the client sends no more or the time has passed; -1 if the
    /// connection has failed or was closed before.
    [[nodiscard]] std::int32_t Read(std::uint8_t* buffer, std::int32_t length,
                                    std::int32_t milliseconds);
    /// Accepts the whole frame and returns `length`, or returns -1 if the connection has failed. If
    /// the client has disconnected while input of it is unread, the frame is dropped and `length`
    /// is returned, so that the session handles that input first.
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length);
    /// Does the same with a frame that other connections share.
    std::int32_t WriteShared(const SharedFrame& frame);
    /// Counts what waits for the client in `account`; see SocketOutput::ChargeTo.
    void ChargeTo(const std::shared_ptr<ConnectionAccount>& account) { output->ChargeTo(account); }
    /// Ends reading at once, and closes the connection when what was written has been sent.
    void Close() { output->Close(); }
    /// Sets how long the client may read nothing while output waits.
    void SetWriteStall(std::uint32_t milliseconds) { output->SetStallMilliseconds(milliseconds); }

    SocketDescriptor& Socket() { return *socket; }

private:
    /// Returns whether the client has disconnected and input of it is unread.
    bool HasGoneUnread();

    const std::shared_ptr<SocketDescriptor> socket;
    const std::shared_ptr<SocketOutput> output;
};

}  // namespace vantry
