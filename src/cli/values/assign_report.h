#pragma once

#include <vector>

#include "cli/select/catalog.h"
#include "cli/values/assign.h"

namespace vantry::cli {

/// Writes all values in one message, waits up to the time-out, and prints what became of each: what
/// was done to standard output, the rest to standard error, or everything as JSON. Returns the exit
/// status: that of a time-out if one was silent.
int AssignAndReport(const Context& context, Catalog& catalog,
                    const std::vector<Assignment>& assignments);

}  // namespace vantry::cli
