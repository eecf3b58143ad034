#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/base/terminal.h"
#include "cli/measure/series.h"

namespace vantry::cli {

/// Draws a series between two moments in `rows` lines (at least 4) of `columns` columns: a heading
/// with the name, the present number and the extremes; the numbers as a line of dots beside an axis
/// with a scale; and an axis of time.
std::vector<std::string> DrawTextPlot(const Series& series, Moment begin, Moment end,
                                      std::size_t columns, std::size_t rows, const Style& style);

}  // namespace vantry::cli
