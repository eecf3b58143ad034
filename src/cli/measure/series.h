#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "history/moment.h"

namespace vantry::cli {

using history::Moment;

/// The numbers that one property had over time.
struct Series {
    struct Point {
        Moment time;
        /// The number from this moment on; nothing if there is none.
        std::optional<double> number;
    };

    std::string name;
    std::string unit;
    /// In the order of their times.
    std::vector<Point> points = {};

    /// Returns the number at the end, if there is one.
    std::optional<double> Last() const;
};

/// Series of the same span of time, in the order in which they are drawn.
struct Recording {
    std::vector<Series> all = {};
    Moment begin = 0;
    Moment end = 0;
};

/// The smallest and the largest of some numbers.
struct Extent {
    double low;
    double high;

    void Add(double number);
    /// Returns the extent, or one of positive height around it if both are equal.
    Extent Widened() const;
};

/// The numbers of a series in one of the equal parts of a span of time.
struct Slice {
    /// All numbers in the part; nothing if there was none.
    std::optional<Extent> extent = {};
    /// The number at the end of the part.
    std::optional<double> last = {};
};

/// Returns the series in `count` equal parts between the two moments. A number holds until the next
/// point.
std::vector<Slice> SlicesOf(const Series& series, Moment begin, Moment end, std::size_t count);
/// Returns the extent of all slices, or nothing if no slice has a number.
std::optional<Extent> ExtentOf(const std::vector<Slice>& slices);

/// Returns the round numbers (1, 2 or 5 times a power of ten) within the extent that divide it into
/// `most` parts at most.
std::vector<double> RoundNumbers(const Extent& extent, std::size_t most);
/// Returns the round moments of the local time between the two that divide it into `most` parts at
/// most.
std::vector<Moment> RoundMoments(Moment begin, Moment end, std::size_t most);
/// Returns a moment in local time, as exact as a label in a span of this length must be, such as
/// "14:05:09" or "11-25 14:05".
std::string MomentLabel(Moment moment, Moment length);

}  // namespace vantry::cli
