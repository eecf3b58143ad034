#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/socket_descriptor.h"
#include "runtime/lock.h"

namespace vantry {

class OutputFlusher;

/// What a peer that doesn't read may make us hold.
struct OutputLimits {
    /// How long the peer may take nothing at all while output waits.
    std::uint32_t stallMilliseconds = 10'000;
    /// How much may wait, unless it is one single frame.
    std::size_t waitingBytes = 16U << 20U;
};

/// The sending side of a stream socket that never makes its writer wait.
///
/// A frame goes to the socket at once as far as the socket takes it; the rest waits here, and an
/// OutputFlusher sends it as the socket drains. A peer that breaks the limits has failed: the
/// socket is shut down and the memory given back. Made by Make and shared with the flusher while
/// output waits. Any thread may write; whole frames never mix.
class SocketOutput : public std::enable_shared_from_this<SocketOutput> {
public:
    static std::shared_ptr<SocketOutput> Make(std::shared_ptr<SocketDescriptor> socket,
                                              std::shared_ptr<OutputFlusher> flusher,
                                              OutputLimits limits);

    /// Takes the whole frame. 0, or the error number by which the connection failed: nothing more
    /// is sent then.
    [[nodiscard]] int Write(const std::uint8_t* frame, std::size_t length);
    /// Closes the socket, once what waits has been sent; a blocked reader returns at once.
    void Close();
    /// Drops what waits and closes the socket at once; a blocked reader returns.
    void CloseNow();
    void SetStallMilliseconds(std::uint32_t milliseconds);

private:
    friend class OutputFlusher;

    SocketOutput(std::shared_ptr<SocketDescriptor> connection,
                 std::shared_ptr<OutputFlusher> sharedFlusher, OutputLimits bounds);

    /// Sends what the socket takes, ends the connection of a peer that has stalled, and leaves the
    /// flusher when nothing waits any more. For the flusher's thread.
    void Advance();

    std::size_t Waiting() const REQUIRES(lock) { return waiting.size() - sent; }
    /// How many bytes of these the socket took, or nothing if it failed.
    std::optional<std::size_t> SendNow(const std::uint8_t* bytes, std::size_t length)
        REQUIRES(lock);
    void SendWaiting() REQUIRES(lock);
    bool HasStalled() REQUIRES(lock);
    bool Keep(const std::uint8_t* bytes, std::size_t length) REQUIRES(lock);
    void Fail(int error) REQUIRES(lock);
    void LeaveFlusher() REQUIRES(lock);

    const std::shared_ptr<SocketDescriptor> socket;
    const std::shared_ptr<OutputFlusher> flusher;
    Lock lock;
    OutputLimits limits GUARDED_BY(lock);
    std::string waiting GUARDED_BY(lock);
    std::size_t sent GUARDED_BY(lock) = 0;
    int failure GUARDED_BY(lock) = 0;
    bool closing GUARDED_BY(lock) = false;
    /// Held while output waits: the flusher watches the number.
    std::optional<SocketDescriptor::Use> watched GUARDED_BY(lock);
    std::uint64_t lastProgress GUARDED_BY(lock) = 0;
    int lastQueued GUARDED_BY(lock) = 0;
};

}  // namespace vantry
