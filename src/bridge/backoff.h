#pragma once

#include <algorithm>
#include <cstdint>
#include <random>

namespace vantry::bridge {

/// The pauses between attempts to connect: full jitter, so that many clients whose broker has
/// restarted don't come back at the same time. Used by one thread.
class Backoff {
public:
    /// In milliseconds.
    Backoff(std::uint64_t firstPause, std::uint64_t longestPause)
        : first(firstPause), longest(std::max(firstPause, longestPause)), most(firstPause) {}

    /// Returns the next pause: the first one, and then a random one between the first and a bound
    /// that doubles each time up to the longest.
    std::uint64_t Next() {
        const std::uint64_t pause = Between(first, most);
        most = std::min(most * 2, longest);
        return pause;
    }
    /// Begins again. The first pause of one that has begun again is random in twice its length,
    /// because all clients of a broker lose it at the same time.
    void Reset() { most = std::min(first * 2, longest); }
    /// Returns a random number of these, both included.
    std::uint64_t Between(std::uint64_t least, std::uint64_t greatest) {
        return std::uniform_int_distribution<std::uint64_t>(least, greatest)(random);
    }

private:
    const std::uint64_t first;
    const std::uint64_t longest;
    std::uint64_t most;
    std::minstd_rand random{std::random_device()()};
};

}  // namespace vantry::bridge
