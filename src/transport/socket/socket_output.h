#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "platform/accounting.h"
#include "platform/shared_frame.h"
#include "platform/socket_descriptor.h"
#include "runtime/condition.h"
#include "runtime/lock.h"
#include "transport/socket/lingering_input.h"
#include "transport/socket/output_part.h"
#include "transport/socket/peer_progress.h"
#include "transport/socket/waiting_output.h"

namespace vantry {

class OutputFlusher;

/// What is known of the receiving side of a connection when it is closed.
enum class Reading : std::uint8_t {
    /// A thread may block in a call that receives.
    Possible,
    /// No thread does.
    None,
    /// The peer sends no more, and everything that it sent was received.
    AtEnd
};

/// How much output a peer that doesn't read may cause to wait, and how its connection ends.
struct OutputLimits {
    /// How long the peer may read nothing while output waits.
    std::uint32_t stallMilliseconds = 10'000;
    /// How many bytes may wait, unless they are a single frame.
    std::size_t waitingBytes = 16U << 20U;
    /// Whether a closed connection is kept until the peer has received everything, so that unread
    /// input doesn't reset it. For TCP.
    bool lingers = false;
    /// While at most so many bytes wait, a frame of any size is accepted.
    std::size_t admittedBytes = 0;
    /// Whether a peer that has disconnected leaves the socket open for its reader. Output is
    /// accepted and dropped then. For local clients, whose last requests still count.
    bool outlivesPeer = false;
};

/// The sending side of a stream socket, whose writers never wait for the peer.
///
/// A frame is sent at once as far as the socket accepts it; the rest waits in memory, and an
/// OutputFlusher sends it when the socket has space. If a peer exceeds the limits, the connection
/// has failed: the socket is shut down and the memory is freed. The flusher shares the ownership
/// while output waits. All operations are thread-safe and none but AwaitPeer blocks; frames of
/// several writers never mix.
class SocketOutput : public std::enable_shared_from_this<SocketOutput> {
public:
    /// Makes the output of a connected socket. `socket` is shared with the connection's reader.
    static std::shared_ptr<SocketOutput> Make(std::shared_ptr<SocketDescriptor> socket,
                                              std::shared_ptr<OutputFlusher> flusher,
                                              OutputLimits limits);
    ~SocketOutput() = default;
    SocketOutput(const SocketOutput&) = delete;
    SocketOutput& operator=(const SocketOutput&) = delete;

    /// Counts what waits in `owner`, whose bounds replace OutputLimits::waitingBytes. If they are
    /// exceeded, connections are cut. The owner calls this before the first write.
    void ChargeTo(std::shared_ptr<ConnectionAccount> owner);

    /// Accepts the whole frame, and copies what the socket doesn't accept at once. Returns 0, or
    /// the error number by which the connection has failed; nothing more is sent then.
    [[nodiscard]] int Write(const std::uint8_t* frame, std::size_t length);
    /// Does the same, but keeps references to the texts instead of copies.
    [[nodiscard]] int WriteShared(const SharedFrame& frame);
    /// Closes the socket when what waits has been sent; the caller doesn't wait for that. A reader
    /// that blocks returns at once. If the caller knows that there is none, the receiving direction
    /// stays open, and data that the peer still sends doesn't reset a lingering connection. A
    /// connection whose input has ended doesn't linger, and one whose account was cut is closed at
    /// once.
    void Close(Reading reading = Reading::Possible);
    /// Drops what waits and closes the socket at once. A reader that blocks returns.
    void CloseNow();
    /// Blocks until at most `bytes` bytes wait or the connection is closed, and returns true.
    /// Returns false if the peer received nothing for `stallMilliseconds` meanwhile.
    [[nodiscard]] bool AwaitPeer(std::size_t bytes, std::uint32_t stallMilliseconds);
    /// Returns how many bytes wait.
    std::size_t Waiting();
    /// Returns a number that grows when the peer receives something while output waits.
    std::int64_t Received();
    /// Replaces OutputLimits::stallMilliseconds.
    void SetStallMilliseconds(std::uint32_t milliseconds);

private:
    friend class OutputFlusher;

    SocketOutput(std::shared_ptr<SocketDescriptor> connection,
                 std::shared_ptr<OutputFlusher> sharedFlusher, OutputLimits bounds);

    /// Sends what the socket accepts, ends the connection of a peer that has stalled, and leaves
    /// the flusher when there is nothing left to do. Only the flusher's thread calls it.
    void Advance();
    /// Returns when the connection was closed, or 0 if it isn't closed or has no account. Only the
    /// flusher's thread calls it.
    std::uint64_t LingersSince();

    int WriteParts(std::span<const OutputPart> parts, std::size_t length);
    /// Sends or keeps a frame of `length` bytes. Sets `exceeded` to the bound that is exceeded
    /// then, if one is. Returns 0 or the error number of the failure.
    int Take(std::span<const OutputPart> parts, std::size_t length, std::optional<Bound>& exceeded)
        REQUIRES(lock);
    /// Closes connections because of a bound. The caller doesn't hold the lock.
    void Enforce(std::optional<Bound> exceeded);
    /// Returns whether the connection was closed because of a bound.
    bool WasCut() const REQUIRES(lock);
    std::size_t MostWaiting() const REQUIRES(lock);
    /// Returns how many bytes of the frame the socket accepted, or nothing if it failed.
    std::optional<std::size_t> SendNow(std::span<const OutputPart> parts) REQUIRES(lock);
    bool JoinFlusher(bool waitsForSocket) REQUIRES(lock);
    void SendWaiting() REQUIRES(lock);
    /// Drops the input of a connection on which nothing waits, and keeps one that lingers until its
    /// peer has ended its side or the flusher gives it up. Returns false if the socket is to be
    /// closed now.
    bool Linger() REQUIRES(lock);
    /// Ends the sending direction behind the last byte of the output.
    void StartLingering() REQUIRES(lock);
    /// Returns how many bytes the socket has that the peer hasn't received.
    int Queued(int number) const;
    /// Handles an error of the socket: a peer that has left, see OutputLimits::outlivesPeer, or a
    /// failure.
    void FailToSend(int error) REQUIRES(lock);
    /// Drops the output and leaves the flusher.
    void DropAll() REQUIRES(lock);
    /// Records the failure, drops the output, leaves the flusher and closes the socket.
    void Fail(int error) REQUIRES(lock);
    void LeaveFlusher() REQUIRES(lock);

    const std::shared_ptr<SocketDescriptor> socket;
    const std::shared_ptr<OutputFlusher> flusher;
    Mutex lock;
    OutputLimits limits GUARDED_BY(lock);
    WaitingOutput waiting GUARDED_BY(lock);
    PeerProgress progress GUARDED_BY(lock);
    LingeringInput lateInput GUARDED_BY(lock);
    int failure GUARDED_BY(lock) = 0;
    bool closing GUARDED_BY(lock) = false;
    bool lingering GUARDED_BY(lock) = false;
    bool peerHasLeft GUARDED_BY(lock) = false;
    /// Signals AwaitPeer that output was sent or dropped.
    Condition changed;
    std::uint64_t closedAt GUARDED_BY(lock) = 0;
    std::uint64_t takenSince GUARDED_BY(lock) = 0;
    /// Keeps the descriptor open while the flusher watches it.
    std::optional<SocketDescriptor::Use> watched GUARDED_BY(lock);
};

}  // namespace vantry
