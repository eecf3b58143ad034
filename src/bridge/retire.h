#pragma once

#include "bridge/options.h"
#include "runtime/result.h"

namespace vantry::bridge {

/// Removes the messages that the broker retains of the printers of the options. Blocks until the
/// broker has confirmed it. Returns the reason if it can't be reached, refuses it, or needs longer
/// than 10 s for one printer.
Outcome Retire(const Options& options);

}  // namespace vantry::bridge
