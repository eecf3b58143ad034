// Plots over time for a terminal.
//
// A property keeps its value until it changes. The time is divided into as many parts as there are
// dots across, and each part has its last, lowest and highest value. A vertical line of dots covers
// what the value did in a part and its jump from the one before, so that no peak is lost.

#include "cli/show/time_plot.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "cli/base/text.h"
#include "cli/show/braille_dots.h"

namespace vantry::cli {
namespace {

/// What a property did in a part of the time.
struct Point {
    double last = 0;
    double lowest = 0;
    double highest = 0;
};
/// One for each part of the time; nothing where no value is known yet.
using Points = std::vector<std::optional<Point>>;

Points Sampled(const std::deque<TimedNumber>& samples, const TimeSpan& span, std::size_t count) {
    Points points;
    auto next = samples.begin();
    std::optional<Point> point;
    for (std::size_t place = 1; place <= count; ++place) {
        const double until = span.begin + (span.end - span.begin) * static_cast<double>(place) /
                                              static_cast<double>(count);
        if (point) {
            point = {point->last, point->last, point->last};
        }
        for (; next != samples.end() && next->seconds <= until; ++next) {
            const double number = next->number;
            // What was before the span is only the value with which it begins.
            point = point && next->seconds > span.begin
                        ? Point{number, std::min(point->lowest, number),
                                std::max(point->highest, number)}
                        : Point{number, number, number};
        }
        points.push_back(point);
    }
    return points;
}

/// Returns the smallest and the largest number, or nothing if no point is known.
std::optional<std::pair<double, double>> RangeOf(const Points& points) {
    std::optional<std::pair<double, double>> range;
    for (const std::optional<Point>& point : points) {
        if (point) {
            range = range ? std::pair(std::min(range->first, point->lowest),
                                      std::max(range->second, point->highest))
                          : std::pair(point->lowest, point->highest);
        }
    }
    return range;
}

/// Returns where the number lies between the two ends of the range, from 0 to 1.
double PartOf(double number, const std::pair<double, double>& range) {
    const double span = range.second - range.first;
    return span > 0 ? (number - range.first) / span : 0.5;
}

BrailleDots Curve(const Points& points, const std::pair<double, double>& range, std::size_t columns,
                  std::size_t rows) {
    BrailleDots dots(columns, rows);
    const auto lowestDot = static_cast<double>(dots.Height() - 1);
    const auto downOf = [&](double number) {
        return static_cast<std::size_t>(std::lround(lowestDot * (1 - PartOf(number, range))));
    };
    std::optional<double> before;
    for (std::size_t across = 0; across < points.size(); ++across) {
        if (const std::optional<Point>& point = points[across]) {
            const double from = before.value_or(point->last);
            dots.Fill(across, downOf(std::max(from, point->highest)),
                      downOf(std::min(from, point->lowest)));
            before = point->last;
        }
    }
    return dots;
}

/// Returns the time before the end of the span, such as "-45 s" or "-2.5 min".
std::string TimeBefore(double seconds) {
    if (seconds < 120) {
        return fmt::format("-{:.0f} s", seconds);
    }
    return seconds < 7200 ? fmt::format("-{:.3g} min", seconds / 60)
                          : fmt::format("-{:.3g} h", seconds / 3600);
}

/// Returns the axis below the curve and its labels: the start, the middle and "now".
std::array<std::string, 2> TimeAxis(const TimeSpan& span, std::size_t columns) {
    const double length = span.end - span.begin;
    std::string axis;
    for (std::size_t place = 0; place < columns; ++place) {
        axis += place == 0 || place == columns / 2 || place + 1 == columns ? "┴" : "─";
    }
    std::string labels = TimeBefore(length);
    const std::string middle = TimeBefore(length / 2);
    if (columns / 2 > labels.size() + middle.size() && columns > 30) {
        labels = Fitted(labels, columns / 2 - middle.size() / 2) + middle;
    }
    return {axis, Fitted(labels, columns - std::min<std::size_t>(columns, 3)) + "now"};
}

}  // namespace

std::string Sparkline(const std::deque<TimedNumber>& samples, const TimeSpan& span,
                      std::size_t columns) {
    constexpr std::array kBars = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    const Points points = Sampled(samples, span, columns);
    const auto range = RangeOf(points);
    std::string line;
    for (const std::optional<Point>& point : points) {
        line += !point ? " "
                       : kBars[static_cast<std::size_t>(
                             std::lround(PartOf(point->last, *range) * (kBars.size() - 1)))];
    }
    return line;
}

std::vector<std::string> TimePlot(const std::deque<TimedNumber>& samples, const TimeSpan& span,
                                  std::size_t columns, std::size_t rows) {
    constexpr std::size_t kAxisRows = 2;
    constexpr std::size_t kLeastRows = 3;
    constexpr std::size_t kLeastColumns = 10;
    const auto range = RangeOf(Sampled(samples, span, 2 * columns));
    if (!range || rows < kLeastRows + kAxisRows) {
        return {};
    }
    const std::array<std::string, 3> labels = {
        fmt::format("{:.6g}", range->second), fmt::format("{:.6g}", range->first),
        fmt::format("{:.6g}", (range->first + range->second) / 2)};
    const std::size_t labelColumns =
        std::max({labels[0].size(), labels[1].size(), labels[2].size()});
    if (columns < labelColumns + 2 + kLeastColumns) {
        return {};
    }
    const std::size_t plotColumns = columns - labelColumns - 2;
    const std::size_t plotRows = rows - kAxisRows;
    const Points points = Sampled(samples, span, 2 * plotColumns);
    const BrailleDots dots = Curve(points, *range, plotColumns, plotRows);
    std::vector<std::string> lines;
    for (std::size_t row = 0; row < plotRows; ++row) {
        const bool isFlat = range->first == range->second;
        const std::string label = row == (plotRows - 1) / 2 && (isFlat || plotRows > 4) ? labels[2]
                                  : isFlat                                              ? ""
                                  : row == 0                                            ? labels[0]
                                  : row + 1 == plotRows                                 ? labels[1]
                                                                                        : "";
        lines.push_back(fmt::format("{:>{}} {}{}", label, labelColumns, label.empty() ? "│" : "┤",
                                    dots.Row(row)));
    }
    const std::string indent(labelColumns + 1, ' ');
    const std::array<std::string, 2> axis = TimeAxis(span, plotColumns);
    lines.push_back(indent + "└" + axis[0]);
    lines.push_back(indent + " " + axis[1]);
    return lines;
}

}  // namespace vantry::cli
