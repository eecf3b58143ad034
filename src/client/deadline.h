#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "runtime/clock.h"

namespace vantry::client {

/// The time until which an operation may wait.
class Deadline {
public:
    /// Returns the time that is so many milliseconds ahead.
    static Deadline In(std::uint32_t milliseconds) {
        return Deadline(NowNanoseconds() + milliseconds * kNanosecondsPerMillisecond);
    }
    /// Returns a time that doesn't come, for waits without a bound.
    static Deadline Never() { return Deadline(std::numeric_limits<std::uint64_t>::max()); }

    bool IsNever() const { return at == std::numeric_limits<std::uint64_t>::max(); }
    bool HasPassed() const { return !IsNever() && NowNanoseconds() >= at; }
    /// Returns the remaining milliseconds, rounded up, and at most the largest timeout of poll.
    std::uint32_t Left() const {
        constexpr std::uint64_t kMost = std::numeric_limits<std::int32_t>::max();
        const std::uint64_t now = NowNanoseconds();
        const std::uint64_t left = at > now ? at - now : 0;
        return static_cast<std::uint32_t>(std::min(
            kMost,
            left / kNanosecondsPerMillisecond + (left % kNanosecondsPerMillisecond == 0 ? 0 : 1)));
    }

private:
    explicit Deadline(std::uint64_t nanoseconds) : at(nanoseconds) {}

    std::uint64_t at;
};

}  // namespace vantry::client
