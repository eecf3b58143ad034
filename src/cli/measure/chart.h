#pragma once

#include <string>
#include <vector>

#include "cli/measure/series.h"
#include "client/result.h"

namespace vantry::cli {

enum class ChartFormat { Svg, Png };

/// Draws the series below one another between two moments, each with a scale, and an axis of time.
/// Returns the content of a file in the format, or Refused if the picture can't be made.
client::Result<std::string> DrawChart(const std::vector<Series>& all, Moment begin, Moment end,
                                      ChartFormat format);

}  // namespace vantry::cli
