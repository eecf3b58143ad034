// The table of `vantry watch --live`.
//
// Each drawing is the whole screen as one text, which begins at the top left corner and clears each
// line behind its end. So nothing flickers, and a change of the window's size needs no special
// case. Rows are kept in a map that is sorted by display name; those that have changed since the
// start are drawn first. The history behind the plots is bounded, so the memory in use depends on
// the number of properties.

#include "cli/show/live_table.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "cli/base/text.h"
#include "describe/description.h"

namespace vantry::cli {
namespace {

constexpr std::size_t kHistory = 512;

}  // namespace

std::string PlotOf(const std::deque<double>& numbers, std::size_t columns) {
    constexpr std::array kBars = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    const std::size_t shown = std::min(columns, numbers.size());
    const auto first = numbers.end() - static_cast<std::ptrdiff_t>(shown);
    std::string plot(columns - shown, ' ');
    if (shown == 0) {
        return plot;
    }
    const auto [low, high] = std::minmax_element(first, numbers.end());
    const double span = *high - *low;
    for (auto number = first; number != numbers.end(); ++number) {
        const double part = span > 0 ? (*number - *low) / span : 0.5;
        plot += kBars[static_cast<std::size_t>(std::lround(part * (kBars.size() - 1)))];
    }
    return plot;
}

void LiveTable::Record(const client::Property& change) {
    names.Add(change);
    // The key sorts by display name; the GUIDs make it unique.
    Row& row = rows[change.groupName + '\0' + change.name + '\0' + change.id.component +
                    change.id.group + change.id.property];
    row.changed = !row.property.name.empty() && row.property.value != change.value;
    row.hasMoved = row.hasMoved || row.changed;
    row.property = change;
    if (const std::optional<double> number = describe::NumberIn(change.value)) {
        row.history.push_back(*number);
        if (row.history.size() > kHistory) {
            row.history.pop_front();
        }
    }
}

void LiveTable::ScrollBy(int count) {
    const auto wanted = static_cast<std::ptrdiff_t>(top) + count;
    const auto last = static_cast<std::ptrdiff_t>(rows.size()) - 1;
    top = static_cast<std::size_t>(
        std::clamp<std::ptrdiff_t>(wanted, 0, std::max<std::ptrdiff_t>(last, 0)));
}

std::string LiveTable::Draw(const TerminalSize& size, bool connected, const std::string& time,
                            const Style& style) {
    const std::string state = connected ? "connected" : "no connection, trying again";
    const std::string title = fmt::format("{}  {} properties  {}", time, rows.size(), state);
    std::string screen = "\x1b[H";
    screen += connected ? style.Heading(Fitted(title, size.columns))
                        : style.Bad(Fitted(title, size.columns));
    constexpr std::size_t kOtherLines = 2;
    const std::size_t shownRows = size.rows > kOtherLines ? size.rows - kOtherLines : 0;
    const std::vector<Row*> order = InOrder();
    for (std::size_t line = 0; line < shownRows; ++line) {
        screen += "\r\n";
        if (top + line < order.size()) {
            Row& row = *order[top + line];
            screen += DrawRow(row, size, style);
            row.changed = false;
        }
        screen += "\x1b[K";
    }
    screen += "\r\n" + style.Faint(Fitted("q quits, j and k scroll", size.columns));
    return screen;
}

std::vector<LiveTable::Row*> LiveTable::InOrder() {
    std::vector<Row*> order;
    for (auto& [name, row] : rows) {
        order.push_back(&row);
    }
    std::stable_partition(order.begin(), order.end(), [](const Row* row) { return row->hasMoved; });
    return order;
}

std::string LiveTable::DrawRow(const Row& row, const TerminalSize& size, const Style& style) const {
    // Half of the line is for the name, a quarter for the value and the rest for the plot.
    const std::size_t nameColumns = size.columns / 2;
    const std::size_t valueColumns = size.columns / 4;
    const std::size_t plotColumns = size.columns - nameColumns - valueColumns - 2;
    const std::string name = Fitted(names.Of(row.property), nameColumns);
    const std::string value = Fitted(
        row.property.available ? Printable(row.property.value) : "(withdrawn)", valueColumns);
    const std::string plot =
        row.history.size() > 1 ? PlotOf(row.history, plotColumns) : std::string(plotColumns, ' ');
    return name + " " + (row.changed ? style.Changed(value) : value) + " " + style.Faint(plot);
}

}  // namespace vantry::cli
