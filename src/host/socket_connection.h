#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/socket_descriptor.h"
#include "transport/socket/output_flusher.h"
#include "transport/socket/socket_output.h"

namespace vantry {

/// One client of a device socket: reading that waits, writing that doesn't. Any thread may call any
/// operation.
class SocketConnection {
public:
    /// Takes over the accepted descriptor.
    SocketConnection(int accepted, std::shared_ptr<OutputFlusher> flusher, OutputLimits limits);
    ~SocketConnection() { Close(); }
    SocketConnection(const SocketConnection&) = delete;
    SocketConnection& operator=(const SocketConnection&) = delete;

    /// Waits up to `milliseconds`, -1 for ever. The count; 0 if the client sends no more or the
    /// time is over; -1 if the connection has failed.
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length, std::int32_t milliseconds);
    /// Takes the whole frame: `length`, or -1 if the connection has failed. A frame for a client
    /// that has gone counts as taken, and is dropped, while something that it sent is unread: the
    /// session is to act on that first.
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length);
    /// The same for a frame that others share.
    std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame);
    /// Counts what waits for the client in `account`, and closes it beyond its bounds.
    void ChargeTo(const std::shared_ptr<ConnectionAccount>& account) { output->ChargeTo(account); }
    /// Ends reading at once, and the connection when what was written has been sent.
    void Close() { output->Close(); }
    void SetWriteStall(std::uint32_t milliseconds) { output->SetStallMilliseconds(milliseconds); }

    SocketDescriptor& Socket() { return *socket; }

private:
    bool HasGoneUnread();

    const std::shared_ptr<SocketDescriptor> socket;
    const std::shared_ptr<SocketOutput> output;
};

}  // namespace vantry
