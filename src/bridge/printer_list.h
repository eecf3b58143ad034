#pragma once

#include <string>
#include <vector>

#include "bridge/options.h"
#include "runtime/result.h"

namespace vantry::bridge {

/// Returns the printers of the options: the one of the command line, or those of the file. Blocks
/// for reading it. Returns Refused if it can't be read or is wrong.
Result<std::vector<PrinterEntry>> PrintersOf(const Options& options);

/// Parses a list of printers: lines "SERIAL device=PATH" or "SERIAL tcp=HOST[:PORT]"; blank lines
/// and those that begin with # are skipped. Returns Refused, and names the line, for any other
/// text and for a serial number that stands twice.
Result<std::vector<PrinterEntry>> ParsePrinters(const std::string& text);

}  // namespace vantry::bridge
