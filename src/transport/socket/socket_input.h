#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/descriptors.h"

namespace vantry {

/// The receiving side of a stream socket, which receives ahead of its reader.
///
/// One thread calls Read; any thread may call the other operations, which don't block.
class SocketInput {
public:
    static constexpr std::size_t kMostAhead = 16U << 10U;

    /// `bytesAhead` is how many bytes beyond its length a Read may receive, kMostAhead at most.
    /// `calls` must outlive the object.
    explicit SocketInput(Descriptors& calls, std::size_t bytesAhead = kMostAhead);
    SocketInput(const SocketInput&) = delete;
    SocketInput& operator=(const SocketInput&) = delete;

    /// Blocks until there are bytes, stores at most `length` of them, which must be above 0, and
    /// returns their number. Returns 0 if the peer sends no more or Close was called, and the
    /// negative error number of a failure. `number` is the socket.
    [[nodiscard]] std::int32_t Read(int number, std::uint8_t* buffer, std::int32_t length);
    /// Does what Read does if that needs no socket because so many bytes are kept. Otherwise
    /// returns false and does nothing.
    [[nodiscard]] bool ReadKept(std::uint8_t* buffer, std::int32_t length);
    /// Makes later Reads return 0. The caller ends a Read that blocks by shutting down the socket.
    void Close() { closed = true; }
    bool IsClosed() const { return closed; }
    /// Releases the bytes that were received and not yet read. The thread that reads calls it.
    void Release();
    /// Returns whether a thread is inside a call that receives.
    bool IsReading() const { return reading; }
    /// Returns whether the peer sends no more and everything that it sent was received. Close
    /// doesn't cause that.
    bool HasEnded() const { return ended; }

private:
    /// Receives at most `length` bytes into `buffer`, and keeps the bytes that were received behind
    /// them. Returns what Descriptors::Receive would have returned for `length`.
    ssize_t Receive(int number, std::uint8_t* buffer, std::size_t length, bool waits);
    /// Copies at most `length` kept bytes and consumes them. Returns their number.
    std::size_t TakeAhead(std::uint8_t* buffer, std::size_t length);

    Descriptors& descriptors;
    const std::size_t mostAhead;
    /// Bytes that were received and not yet read. Only the reading thread uses this and the next
    /// two fields.
    std::vector<std::uint8_t> ahead;
    std::size_t aheadTaken = 0;
    int lateError = 0;
    std::atomic<bool> closed{false};
    std::atomic<bool> reading{false};
    std::atomic<bool> ended{false};
};

}  // namespace vantry
