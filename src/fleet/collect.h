#pragma once

#include "fleet/options.h"
#include "fleet/roster.h"
#include "runtime/result.h"

namespace vantry::fleet {

/// Reads what the broker retains of the printers. Blocks until the broker has been silent for a
/// while, for the time-out at most. Returns NoConnection if the broker can't be reached, TimedOut
/// if it doesn't answer in time, and Refused if it lets this client read nothing.
Result<Roster> Collect(const Options& options);

}  // namespace vantry::fleet
