// The columns of the live table.
//
// Columns are as wide as their content, as far as the window allows; what is left over is for the
// plots. If the window is too narrow, a long value is cut first, because the detail below the rows
// shows it whole, and then the name. The smallest windows show names and values alone.

#include "cli/show/live_columns.h"

#include <fmt/core.h>

#include <algorithm>

#include "cli/base/text.h"
#include "cli/show/live_rows.h"

namespace vantry::cli {
namespace {

/// Blank columns between two cells.
constexpr std::size_t kGap = 2;
constexpr std::size_t kLeastPlot = 6;
constexpr std::size_t kWishedPlot = 20;
/// A second for each character.
constexpr auto kMostPlot = static_cast<std::size_t>(kPlottedSeconds);

}  // namespace

void LiveWidths::Cover(const LiveCells& cells) {
    name = std::max(name, ColumnsOf(cells.name));
    value = std::max(value, ColumnsOf(cells.value));
    unit = std::max(unit, ColumnsOf(cells.unit));
    age = std::max(age, ColumnsOf(cells.age));
}

LiveWidths LiveWidths::FittedTo(std::size_t columns) const {
    LiveWidths widths = *this;
    const std::size_t others = kGap + kGap + age + (unit > 0 ? kGap + unit : 0);
    if (columns < others + 10) {
        return {columns / 2, columns - columns / 2 - std::min(kGap, columns), 0, 0, 0};
    }
    const std::size_t available = columns - others;
    // A long value, which the detail shows whole, leaves room for the plots.
    if (widths.value > available / 3) {
        const std::size_t rest = available - std::min(available, widths.name + kGap + kWishedPlot);
        widths.value = std::min(widths.value, std::max(available / 3, rest));
    }
    if (widths.name + widths.value > available) {
        const std::size_t least = std::min(widths.value, available / 3);
        widths.value = std::max(available - std::min(available, widths.name), least);
        widths.name = available - widths.value;
    }
    const std::size_t left = available - widths.name - widths.value;
    widths.plot = left >= kLeastPlot + kGap ? std::min(left - kGap, kMostPlot) : 0;
    return widths;
}

std::string LineOf(const LiveCells& cells, const LiveWidths& widths) {
    std::string line;
    std::size_t column = 1;
    const auto add = [&](const std::string& text, std::size_t width) {
        if (width > 0) {
            line += (column > 1 ? std::string(kGap, ' ') : "") +
                    fmt::format("\x1b[{}G", column + (column > 1 ? kGap : 0)) + text;
            column += width + (column > 1 ? kGap : 0);
        }
    };
    add(Fitted(cells.name, widths.name), widths.name);
    add(Fitted(cells.value, widths.value), widths.value);
    add(Fitted(cells.unit, widths.unit), widths.unit);
    add(Fitted(cells.age, widths.age), widths.age);
    add(cells.plot, widths.plot);
    return line;
}

}  // namespace vantry::cli
