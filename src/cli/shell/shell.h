#pragma once

#include "cli/base/command_line.h"

namespace vantry::cli {

/// Reads commands and runs them until the input ends: at a terminal with a prompt, otherwise
/// without. Returns the exit status of the last command.
int RunShell(const CommandLine& line, const Context& context);

}  // namespace vantry::cli
