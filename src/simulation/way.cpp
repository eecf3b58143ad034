// A queue of pieces with the time at which each arrives. A piece never arrives before an earlier
// one, as on a stream of bytes, so a later piece with a smaller delay waits for it. The end arrives
// in the same order. A reset drops what is queued and is seen at once.

#include "simulation/way.h"

#include <algorithm>

#include "simulation/scheduler.h"

namespace vantry::simulation {
namespace {

std::uint64_t Now() { return Scheduler::Current().Now(); }

}  // namespace

void Way::Put(std::string_view bytes, std::uint64_t delay) {
    lastArrival = std::max(lastArrival, Now() + delay);
    pieces.push_back({std::string(bytes), lastArrival});
    size += bytes.size();
}

std::size_t Way::Take(std::span<iovec> parts, std::size_t room) {
    std::size_t taken = 0;
    std::size_t place = 0;
    for (const iovec& part : parts) {
        for (std::size_t at = 0; at < part.iov_len && taken < room && HasArrived(); ++at) {
            static_cast<char*>(part.iov_base)[at] = pieces.front().bytes[place++];
            ++taken;
            if (place == pieces.front().bytes.size()) {
                pieces.pop_front();
                place = 0;
            }
        }
    }
    if (place != 0) {
        pieces.front().bytes.erase(0, place);
    }
    size -= taken;
    return taken;
}

void Way::End(std::uint64_t delay) {
    if (!ended) {
        ended = true;
        lastArrival = std::max(lastArrival, Now() + delay);
    }
}

void Way::Reset() {
    pieces.clear();
    size = 0;
    wasReset = true;
}

bool Way::HasArrived() const { return !pieces.empty() && pieces.front().arrival <= Now(); }

bool Way::EndHasArrived() const { return ended && pieces.empty() && lastArrival <= Now(); }

bool Way::EndIsSeen() const { return wasReset || (ended && lastArrival <= Now()); }

std::uint64_t Way::NextArrival() const {
    const std::uint64_t next = pieces.empty() ? lastArrival : pieces.front().arrival;
    return next > Now() ? next : kNever;
}

std::size_t Way::NotArrived() const {
    std::size_t count = 0;
    for (const Piece& piece : pieces) {
        count += piece.arrival > Now() ? piece.bytes.size() : 0;
    }
    return count;
}

}  // namespace vantry::simulation
