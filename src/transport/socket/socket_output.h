#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/accounting.h"
#include "platform/socket_descriptor.h"
#include "runtime/lock.h"

namespace vantry {

class OutputFlusher;

/// What a peer that doesn't read may make us hold, and how its connection ends.
struct OutputLimits {
    /// How long the peer may take nothing while output waits.
    std::uint32_t stallMilliseconds = 10'000;
    /// How much may wait, unless it is one single frame.
    std::size_t waitingBytes = 16U << 20U;
    /// Whether a closed connection stays until the peer has taken everything, so that input that
    /// nobody reads any more doesn't reset it. For TCP.
    bool lingers = false;
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
    ~SocketOutput();
    SocketOutput(const SocketOutput&) = delete;
    SocketOutput& operator=(const SocketOutput&) = delete;

    /// Counts what waits in `owner`, whose bounds take the place of OutputLimits::waitingBytes.
    /// Beyond them connections are cut. Called before the first write.
    void ChargeTo(std::shared_ptr<ConnectionAccount> owner);

    /// Takes the whole frame. 0, or the error number by which the connection failed: nothing more
    /// is sent then. What the socket doesn't take is copied.
    [[nodiscard]] int Write(const std::uint8_t* frame, std::size_t length);
    /// The same, but keeps a reference instead of a copy. The frame must not change any more.
    [[nodiscard]] int WriteShared(const std::shared_ptr<const std::string>& frame);
    /// Closes the socket, once what waits has been sent. A blocked reader returns at once; whoever
    /// knows that there is none says so, because the way to wake it would have a lingering
    /// connection reset by what the peer still sends. A connection whose account was cut is closed
    /// without delay.
    void Close(bool mayHaveReader = true);
    /// Drops what waits and closes the socket at once; a blocked reader returns.
    void CloseNow();
    void SetStallMilliseconds(std::uint32_t milliseconds);

private:
    friend class OutputFlusher;

    /// A part of the output that waits.
    struct Piece {
        std::string own;
        /// In place of `own` if it isn't empty.
        std::shared_ptr<const std::string> shared;

        std::string_view Text() const { return shared ? *shared : own; }
    };

    SocketOutput(std::shared_ptr<SocketDescriptor> connection,
                 std::shared_ptr<OutputFlusher> sharedFlusher, OutputLimits bounds);

    /// Sends what the socket takes, ends the connection of a peer that has stalled, and leaves the
    /// flusher when there is nothing to do any more. For the flusher's thread.
    void Advance();
    /// Since when the connection only waits for its end, and 0 if it isn't closed or belongs to no
    /// account. For the flusher's thread.
    std::uint64_t LingersSince();

    /// Takes a frame; `shared` is empty or holds the text. Sets `exceeded` to the bound that is
    /// passed thereby, if one is.
    int Take(std::string_view text, const std::shared_ptr<const std::string>& shared,
             std::optional<Bound>& exceeded) REQUIRES(lock);
    /// Closes connections because of a bound. Called without the lock.
    void Enforce(std::optional<Bound> exceeded);
    std::size_t MostWaiting() const REQUIRES(lock);
    /// How many bytes of this the socket took, or nothing if it failed.
    std::optional<std::size_t> SendNow(std::string_view text) REQUIRES(lock);
    std::optional<Bound> Keep(std::string_view rest,
                              const std::shared_ptr<const std::string>& shared) REQUIRES(lock);
    bool JoinFlusher(bool waitsForSocket) REQUIRES(lock);
    void SendWaiting() REQUIRES(lock);
    void DropTaken(std::size_t count) REQUIRES(lock);
    void DropFirst() REQUIRES(lock);
    void StartProgress() REQUIRES(lock);
    bool HasStalled() REQUIRES(lock);
    /// Ends the sending side, after the last byte of the output.
    void StartLingering() REQUIRES(lock);
    /// Throws input away. True when the peer has ended its side or sends too much.
    bool HasPeerEnded(int number) REQUIRES(lock);
    int Queued() const REQUIRES(lock);
    void Fail(int error) REQUIRES(lock);
    void LeaveFlusher() REQUIRES(lock);

    const std::shared_ptr<SocketDescriptor> socket;
    const std::shared_ptr<OutputFlusher> flusher;
    Lock lock;
    OutputLimits limits GUARDED_BY(lock);
    std::shared_ptr<ConnectionAccount> account GUARDED_BY(lock);
    std::list<Piece> pieces GUARDED_BY(lock);
    /// Of the first piece.
    std::size_t sentOfFirst GUARDED_BY(lock) = 0;
    std::size_t waiting GUARDED_BY(lock) = 0;
    int failure GUARDED_BY(lock) = 0;
    bool closing GUARDED_BY(lock) = false;
    bool lingering GUARDED_BY(lock) = false;
    std::uint64_t closedAt GUARDED_BY(lock) = 0;
    std::uint64_t takenSince GUARDED_BY(lock) = 0;
    std::size_t thrownAway GUARDED_BY(lock) = 0;
    /// Held while the flusher looks after this output.
    std::optional<SocketDescriptor::Use> watched GUARDED_BY(lock);
    /// Bytes given to the socket since output began to wait.
    std::int64_t given GUARDED_BY(lock) = 0;
    /// The window in which the peer must take a part of what waits: since when, how much it had
    /// taken then, and how much it must take.
    std::uint64_t windowStart GUARDED_BY(lock) = 0;
    std::int64_t takenAtStart GUARDED_BY(lock) = 0;
    std::int64_t due GUARDED_BY(lock) = 0;
};

}  // namespace vantry
