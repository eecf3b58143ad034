#pragma once

#include <cstddef>
#include <string>

namespace vantry::cli {

/// The texts of a row of the live table.
struct LiveCells {
    std::string name;
    std::string value;
    std::string unit;
    std::string age;
    /// As wide as its column.
    std::string plot;
};

/// How many columns of the terminal each cell of a row of the live table has.
struct LiveWidths {
    std::size_t name = 4;
    std::size_t value = 5;
    std::size_t unit = 0;
    std::size_t age = 3;
    std::size_t plot = 0;

    /// Widens the columns to what the cells need, but for that of the plot.
    void Cover(const LiveCells& cells);
    /// Returns the widths for a line of so many columns: these, or less where the line is too
    /// narrow. What is left over is for the plot, if it is enough for one.
    LiveWidths FittedTo(std::size_t columns) const;
};

/// Returns a row as text with control sequences that name the columns, so that a character whose
/// width a terminal sees differently moves no other cell.
std::string LineOf(const LiveCells& cells, const LiveWidths& widths);

}  // namespace vantry::cli
