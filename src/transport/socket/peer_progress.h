#pragma once

#include <cstddef>
#include <cstdint>

namespace vantry {

/// Finds out whether a peer goes on receiving while output waits for it.
///
/// A peer must receive a part of what waits in each period, so one that reads a byte now and then
/// can't make the hub keep much memory for long. How much it has received is what the socket
/// accepted less what is still queued there. Whether the socket is writable says too little,
/// because that needs much free space in its buffer. Not thread-safe.
class PeerProgress {
public:
    /// Begins to count, because output begins to wait.
    void Start() { *this = PeerProgress(); }
    /// Begins another period with the next HasStalled.
    void StartPeriod() { periodStart = 0; }
    /// Counts bytes that the socket has accepted.
    void Accepted(std::size_t bytes) { accepted += static_cast<std::int64_t>(bytes); }
    /// Returns a number that grows when the peer receives something. `queued` is how many bytes the
    /// socket has that the peer hasn't received.
    std::int64_t Received(int queued) const { return accepted - queued; }
    /// Returns whether the peer has received less than it must for `stallMilliseconds`, while
    /// `waiting` bytes wait besides those in the socket.
    [[nodiscard]] bool HasStalled(int queued, std::size_t waiting, std::uint32_t stallMilliseconds);

private:
    /// How many bytes the socket has accepted since output began to wait.
    std::int64_t accepted = 0;
    /// The period in which the peer must receive a part of what waits: when it began, how much the
    /// peer had received then, and how much it must receive until its end.
    std::uint64_t periodStart = 0;
    std::int64_t receivedAtStart = 0;
    std::int64_t due = 0;
};

}  // namespace vantry
