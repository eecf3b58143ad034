#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cli/base/terminal.h"
#include "cli/select/names.h"
#include "client/property.h"

namespace vantry::cli {

/// Returns a plot of the last numbers, oldest first, in `columns` characters of "▁▂▃▄▅▆▇█". Its
/// range is that of the numbers shown; it is padded with blanks on the left.
std::string PlotOf(const std::deque<double>& numbers, std::size_t columns);

/// The watched properties as a table that is drawn again and again: first the properties that have
/// changed since it began, then the others. Only one thread may use it.
class LiveTable {
public:
    /// The names are those of the properties that are known at the start.
    explicit LiveTable(Names known) : names(std::move(known)) {}

    /// Records a change, which the next Draw shows.
    void Record(const client::Property& change);
    /// Returns the whole screen as text, with control sequences, for a terminal of this size. Its
    /// first line shows the time and whether the hub is connected.
    std::string Draw(const TerminalSize& size, bool connected, const std::string& time,
                     const Style& style);
    /// Moves the first row that is shown, within the table.
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

    Names names;
    std::map<std::string, Row> rows;
    std::size_t top = 0;
};

}  // namespace vantry::cli
