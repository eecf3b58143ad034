#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>

namespace vantry::simulation {

/// One direction of a simulated connection: pieces of bytes with the moment of their arrival.
class Way {
public:
    /// Adds bytes that arrive after `delay`, and not before those that were added before them.
    void Put(std::string_view bytes, std::uint64_t delay);
    /// Moves bytes that have arrived into the parts, at most `room`. Returns their number.
    std::size_t Take(std::span<iovec> parts, std::size_t room);
    /// Ends the sending; the reader sees it after `delay`.
    void End(std::uint64_t delay);
    /// Drops the bytes and lets both sides fail.
    void Reset();

    bool HasArrived() const;
    /// Returns whether nothing is left and the reader sees that nothing comes.
    bool EndHasArrived() const;
    /// Returns whether the reader sees the end or a reset, whatever is left before it.
    bool EndIsSeen() const;
    /// Returns the moment at which the reader sees more than now, or kNever.
    std::uint64_t NextArrival() const;
    std::size_t Size() const { return size; }
    /// Returns how many bytes are still on the way.
    std::size_t NotArrived() const;
    bool HasEnded() const { return ended; }

    bool readerHasGone = false;
    bool readerWantsNoMore = false;
    bool wasReset = false;
    bool resetWasSeen = false;
    /// Whether the hub has taken the connection.
    bool isServed = false;

private:
    struct Piece {
        std::string bytes;
        std::uint64_t arrival;
    };

    std::deque<Piece> pieces;
    std::size_t size = 0;
    std::uint64_t lastArrival = 0;
    bool ended = false;
};

}  // namespace vantry::simulation
