#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vantry::cli {

/// A picture of dots in braille characters, each of which has two dots across and four down.
class BrailleDots {
public:
    /// Makes room for `columns` by `rows` characters, in which no dot is set.
    BrailleDots(std::size_t columns, std::size_t rows)
        : cells(rows, std::vector<unsigned>(columns)) {}

    /// Returns how many dots are below one another.
    std::size_t Height() const { return 4 * cells.size(); }
    /// Sets the dots of a column between two places, both included, which are counted from the top.
    void Fill(std::size_t column, std::size_t from, std::size_t to);
    /// Returns a row of characters as UTF-8, with a blank where no dot is set.
    std::string Row(std::size_t row) const;

private:
    std::vector<std::vector<unsigned>> cells;
};

}  // namespace vantry::cli
