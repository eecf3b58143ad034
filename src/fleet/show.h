#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fleet/options.h"
#include "fleet/roster.h"

namespace vantry::fleet {

/// Returns the list in the form that the options ask for, as lines. `now` is in milliseconds since
/// 1970; `coloured` says whether a table may have colours.
std::string Show(const std::vector<Printer>& printers, const Options& options, std::int64_t now,
                 bool coloured);

}  // namespace vantry::fleet
