#include "history/recording_clock.h"

#include <algorithm>

#include "runtime/clock.h"

namespace vantry::history {

RecordingClock::RecordingClock(Moment lastMoment)
    : last(lastMoment), lastMonotonic(NowNanoseconds()) {}

Moment RecordingClock::Next() {
    constexpr std::uint64_t kNanosecondsPerMicrosecond = 1000;
    const std::uint64_t monotonic = NowNanoseconds();
    const auto passed =
        static_cast<Moment>((monotonic - lastMonotonic) / kNanosecondsPerMicrosecond);
    const Moment now = Now();
    last = now > last ? now : last + std::max<Moment>(passed, 1);
    lastMonotonic = monotonic;
    return last;
}

}  // namespace vantry::history
