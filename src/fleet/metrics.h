#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fleet/roster.h"

namespace vantry::fleet {

/// Returns sums of the printers in the text format of Prometheus. Their number doesn't grow with
/// that of the printers, but with that of sites, versions and kinds of errors. `now` is in
/// milliseconds since 1970.
std::string MetricsOf(const std::vector<Printer>& printers, std::int64_t now);

}  // namespace vantry::fleet
