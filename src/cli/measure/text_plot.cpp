// A plot of characters.
//
// A plot of 60 by 10 characters has 120 by 40 dots (see BrailleDots). Each column of dots stands
// for an equal part of the time and is filled between the smallest and the largest number in it,
// and up to the number before it, so that the dots are a connected line and no peak is lost,
// however long the time is.

#include "cli/measure/text_plot.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "cli/base/text.h"
#include "cli/show/braille_dots.h"

namespace vantry::cli {
namespace {

BrailleDots DotsOf(const std::vector<Slice>& slices, const Extent& scale, std::size_t columns,
                   std::size_t rows) {
    BrailleDots dots(columns, rows);
    const auto rowOf = [&](double number) {
        const double part = (number - scale.low) / (scale.high - scale.low);
        const auto last = static_cast<double>(dots.Height() - 1);
        return static_cast<std::size_t>(std::lround((1 - part) * last));
    };
    std::optional<double> before;
    for (std::size_t column = 0; column < slices.size(); ++column) {
        if (const auto& extent = slices[column].extent) {
            dots.Fill(column, rowOf(extent->low), rowOf(extent->high));
            if (before) {
                dots.Fill(column, rowOf(std::clamp(*before, extent->low, extent->high)),
                          rowOf(*before));
            }
        }
        before = slices[column].last;
    }
    return dots;
}

std::string NumberText(double number) { return fmt::format("{:.6g}", number); }

std::string HeadingOf(const Series& series, const std::optional<Extent>& extent) {
    const std::string unit = series.unit.empty() ? "" : " " + series.unit;
    const std::optional<double> last = series.Last();
    std::string text =
        Printable(series.name) + "  " + (last ? NumberText(*last) + unit : "(no value)");
    if (extent) {
        text += fmt::format("  from {} to {}", NumberText(extent->low), NumberText(extent->high));
    }
    return text;
}

/// Returns the labels of the scale by the row of characters beside which they stand: the ends, and
/// the round numbers between them that have a row of their own.
std::map<std::size_t, std::string> LabelsOf(const Extent& scale, std::size_t rows) {
    std::map<std::size_t, std::string> labels = {{0, NumberText(scale.high)},
                                                 {rows - 1, NumberText(scale.low)}};
    for (const double number : RoundNumbers(scale, std::max<std::size_t>(rows / 3, 1))) {
        const double part = (scale.high - number) / (scale.high - scale.low);
        const auto row =
            static_cast<std::size_t>(std::lround(part * static_cast<double>(rows - 1)));
        if (labels.count(row) == 0 && labels.count(row + 1) == 0 &&
            (row == 0 || labels.count(row - 1) == 0)) {
            labels.emplace(row, NumberText(number));
        }
    }
    return labels;
}

/// Returns the axis of time and the line with its labels.
std::pair<std::string, std::string> TimeAxis(Moment begin, Moment end, std::size_t columns) {
    const Moment length = std::max<Moment>(end - begin, 1);
    const std::size_t labelColumns = MomentLabel(begin, length).size();
    std::string axis;
    std::string labels;
    std::size_t drawn = 0;
    const auto drawTo = [&](std::size_t column) {
        for (; drawn < column; ++drawn) {
            axis += "─";
        }
    };
    for (const Moment moment :
         RoundMoments(begin, end, std::max<std::size_t>(columns / (labelColumns + 6), 1))) {
        const auto column = static_cast<std::size_t>(static_cast<double>(moment - begin) /
                                                     static_cast<double>(length) *
                                                     static_cast<double>(columns - 1));
        const std::size_t first = column < labelColumns / 2 ? 0 : column - labelColumns / 2;
        if (first < labels.size() + (labels.empty() ? 0 : 2) || first + labelColumns > columns) {
            continue;
        }
        drawTo(column);
        axis += "┬";
        ++drawn;
        labels.resize(first, ' ');
        labels += MomentLabel(moment, length);
    }
    drawTo(columns);
    // Where no round moment has room, the ends are named.
    if (labels.empty() && labelColumns <= columns) {
        labels = MomentLabel(begin, length);
        if (2 * labelColumns + 2 <= columns) {
            labels.resize(columns - labelColumns, ' ');
            labels += MomentLabel(end, length);
        }
    }
    return {axis, labels};
}

}  // namespace

std::vector<std::string> DrawTextPlot(const Series& series, Moment begin, Moment end,
                                      std::size_t columns, std::size_t rows, const Style& style) {
    constexpr std::size_t kOtherRows = 3;
    constexpr std::size_t kLeastColumns = 20;
    columns = std::max(columns, kLeastColumns);
    const std::size_t plotRows = std::max<std::size_t>(rows, kOtherRows + 1) - kOtherRows;
    const Extent all = ExtentOf(SlicesOf(series, begin, end, columns)).value_or(Extent{0, 0});
    const Extent scale = all.Widened();
    const std::map<std::size_t, std::string> labels = LabelsOf(scale, plotRows);
    std::size_t labelColumns = 0;
    for (const auto& [row, label] : labels) {
        labelColumns = std::max(labelColumns, label.size());
    }
    const std::size_t plotColumns = columns - std::min(labelColumns + 1, columns - 1);
    const std::vector<Slice> slices = SlicesOf(series, begin, end, 2 * plotColumns);
    const BrailleDots dots = DotsOf(slices, scale, plotColumns, plotRows);
    std::vector<std::string> lines = {
        style.Heading(Fitted(HeadingOf(series, ExtentOf(slices)), columns))};
    for (std::size_t row = 0; row < plotRows; ++row) {
        const auto label = labels.find(row);
        const std::string text = label == labels.end() ? "" : label->second;
        lines.push_back(style.Faint(std::string(labelColumns - text.size(), ' ') + text +
                                    (text.empty() ? "│" : "┤")) +
                        dots.Row(row));
    }
    const auto [axis, moments] = TimeAxis(begin, end, plotColumns);
    lines.push_back(style.Faint(std::string(labelColumns, ' ') + "└" + axis));
    lines.push_back(style.Faint(std::string(labelColumns + 1, ' ') + moments));
    return lines;
}

}  // namespace vantry::cli
