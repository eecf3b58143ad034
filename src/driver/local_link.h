#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/limits.h"
#include "platform/notices.h"
#include "transport/stream/pipe.h"

namespace vantry {

/// The connection between a program that opened the local device and the hub: a two-way pipe with
/// its bounds. Its two ends share ownership of it. All operations are thread-safe, but only one
/// thread may call ReadInput.
class LocalLink {
public:
    /// `hubNotices` must outlive the link.
    LocalLink(const Limits& limits, Notices& hubNotices)
        : pipe(PipePair::Make()), outputBound(limits[Bound::LocalOutput]), notices(hubNotices) {}

    // Operations of the client's end; LocalSession describes them.

    std::int32_t ReadOutput(std::uint8_t* buffer, std::int32_t length) {
        return pipe.clientEnd->Read(buffer, length);
    }
    std::int32_t WriteInput(const std::uint8_t* buffer, std::int32_t length) {
        return pipe.clientEnd->Write(buffer, length);
    }
    void CloseBoth() { pipe.Close(); }
    void EndInput() { pipe.fromClient->Close(); }
    void Abandon();
    /// Returns whether the session has left or has read everything that was written.
    bool IsIdle() const { return hubHasLeft || pipe.fromClient->IsDrained(); }

    // Operations of the hub's end.

    /// Blocks until the client has sent something, and reads it; see Stream::Read. While much
    /// output is unread, it first waits for the client to read some of it, so that a client that
    /// sends requests faster than it reads answers isn't cut. At the end of the input it closes
    /// both directions.
    std::int32_t ReadInput(std::uint8_t* buffer, std::int32_t length);
    /// Accepts a frame for the client without blocking. If the client has left too much unread,
    /// cuts the client and returns kEndOfData.
    std::int32_t WriteOutput(const std::uint8_t* buffer, std::int32_t length);
    /// Does the same for a frame that other streams share.
    std::int32_t WriteSharedOutput(const SharedFrame& frame);
    /// Ends the session. Discards what the client has sent; the client can still read what was
    /// written.
    void LeaveFromHub();

private:
    void AwaitReadingClient();
    bool MakeRoomFor(std::uint64_t length);

    const PipePair pipe;
    const std::uint64_t outputBound;
    Notices& notices;
    std::atomic<bool> hubHasLeft{false};
    std::atomic<bool> cut{false};
    /// The number of bytes that the client had read when a wait for it last timed out. Only
    /// ReadInput uses it.
    std::uint64_t takenAtStall = kUnbounded;
};

}  // namespace vantry
