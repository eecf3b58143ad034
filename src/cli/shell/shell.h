#pragma once

#include "cli/base/command_line.h"

namespace vantry::cli {

/// Reads commands from standard input and runs each in a process of its own until the input ends:
/// at a terminal with a prompt, otherwise without. Blocks for that long. Returns the exit status of
/// the last command.
int RunShell(const CommandLine& line, const Context& context);

}  // namespace vantry::cli
