#pragma once

#include <string>

#include "client/result.h"

namespace vantry::cli {

/// Returns an error with the name of the file and what errno says.
client::Error FileError(const std::string& name);
/// Returns the content of a file, or of standard input for "-". Returns Refused, with the name, if
/// it can't be read.
client::Result<std::string> ReadWholeFile(const std::string& name);
/// Writes a file by renaming a complete one onto its name, or writes to standard output for "-".
/// Returns Refused, with the name, if that fails, or if the file exists and `replace` is false.
client::Outcome WriteWholeFile(const std::string& name, const std::string& content, bool replace);

}  // namespace vantry::cli
