#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace vantry::cli {

/// A number that a property had from a time on. The time is in seconds on any clock.
struct TimedNumber {
    double seconds = 0;
    double number = 0;
};

/// The time that a plot shows. Samples before `begin` matter too: the last one is still the value
/// at `begin`.
struct TimeSpan {
    double begin = 0;
    double end = 0;
};

/// Returns a plot on one line, in `columns` characters of "▁▂▃▄▅▆▇█" or blanks where no value is
/// known yet. Each character is the value at the end of its part of the time; the range is that of
/// the characters.
std::string Sparkline(const std::deque<TimedNumber>& samples, const TimeSpan& span,
                      std::size_t columns);

/// Returns a plot of `rows` lines, each of `columns` columns: a curve with the scale of the values
/// at its left, and below it an axis with the time before the end of the span. Returns nothing if
/// there is no value to show, or not enough room.
std::vector<std::string> TimePlot(const std::deque<TimedNumber>& samples, const TimeSpan& span,
                                  std::size_t columns, std::size_t rows);

}  // namespace vantry::cli
