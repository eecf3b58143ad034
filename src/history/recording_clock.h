#pragma once

#include <cstdint>

#include "history/moment.h"

namespace vantry::history {

/// The moments of a recording, each later than the one before. While the clock of the machine is
/// behind the last moment because it was set back, they go on from there at the pace of the
/// monotonic clock. It belongs to one thread at a time.
class RecordingClock {
public:
    /// The first moment will be later than this one.
    explicit RecordingClock(Moment lastMoment);

    /// Returns the present moment, or the one after the last if that isn't past yet.
    Moment Next();

private:
    Moment last;
    std::uint64_t lastMonotonic;
};

}  // namespace vantry::history
