#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "cli/base/terminal.h"

namespace vantry::cli {

/// A table of texts, for a terminal or as CSV.
class Table {
public:
    explicit Table(std::vector<std::string> columnTitles) : titles(std::move(columnTitles)) {}

    /// Adds a row, which has as many cells as there are titles.
    void Add(std::vector<std::string> cells) { rows.push_back(std::move(cells)); }
    bool IsEmpty() const { return rows.empty(); }

    /// Returns the titles and rows as lines. Columns are as wide as their longest cell, up to
    /// `widest` columns of the terminal; if standard output is a terminal that has less room, the
    /// widest ones are narrowed. The last one isn't cut, but no line is longer than `total`
    /// columns. Control characters are escaped.
    std::string Text(const Style& style, std::size_t widest = 48,
                     std::size_t total = std::numeric_limits<std::size_t>::max()) const;
    /// Returns the titles and rows by RFC 4180, with line feeds.
    std::string Csv() const;

private:
    std::vector<std::string> titles;
    std::vector<std::vector<std::string>> rows;
};

}  // namespace vantry::cli
