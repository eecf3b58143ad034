#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "cli/terminal.h"
#include "client/property.h"

namespace vantry::cli {

/// A picture of so many columns of how the numbers went, oldest first: "▁▂▃▄▅▆▇█".
std::string PlotOf(const std::deque<double>& numbers, std::size_t columns);

/// The properties that are watched, as a table that is drawn anew with each change: first those
/// that have moved since it began, then the others. Belongs to one thread.
class LiveTable {
public:
    void Take(const client::Property& change);
    /// The whole screen as text, for a terminal of this size. `connected` and the time stand above.
    std::string Draw(const TerminalSize& size, bool connected, const std::string& time,
                     const Style& style);
    void ScrollBy(int rows);

private:
    struct Row {
        client::Property property;
        std::deque<double> history;
        bool changed = false;
        bool hasMoved = false;
    };

    std::vector<Row*> InOrder();

    std::string DrawRow(const Row& row, const TerminalSize& size, const Style& style) const;

    std::map<std::string, Row> rows;
    std::size_t top = 0;
};

}  // namespace vantry::cli
