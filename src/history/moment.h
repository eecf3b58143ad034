#pragma once

#include <chrono>
#include <cstdint>

namespace vantry::history {

/// A moment in microseconds since 1970-01-01 00:00 UTC, or a length of time in microseconds.
using Moment = std::int64_t;

constexpr Moment kSecond = 1'000'000;
constexpr Moment kMinute = 60 * kSecond;
constexpr Moment kHour = 60 * kMinute;
constexpr Moment kDay = 24 * kHour;
/// The step for which the recorder keeps sums.
constexpr Moment kQuarter = 15 * kMinute;

/// Returns the moment that the clock of the machine shows.
inline Moment Now() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

/// Returns the start of the step that holds the moment. Steps are counted from 1970.
constexpr Moment BeginOfStep(Moment moment, Moment step) {
    const Moment rest = moment % step;
    return moment - (rest < 0 ? rest + step : rest);
}

}  // namespace vantry::history
