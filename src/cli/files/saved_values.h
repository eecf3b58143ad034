#pragma once

#include <string>
#include <vector>

#include "client/property.h"
#include "client/result.h"

namespace vantry::cli {

/// Returns the content of a file, or of standard input for "-". Returns Refused, with the name, if
/// it can't be read.
client::Result<std::string> ReadWholeFile(const std::string& name);
/// Writes a file by renaming a complete one onto its name, or writes to standard output for "-".
/// Returns Refused, with the name, if that fails, or if the file exists and `replace` is false.
client::Outcome WriteWholeFile(const std::string& name, const std::string& content, bool replace);

/// Returns the content of a file of saved values: a JSON document with a line for each property.
std::string SavedValues(const std::vector<client::Property>& properties, const std::string& hub);
/// Returns the properties of such a content. Returns Refused if it isn't one.
client::Result<std::vector<client::Property>> ParseSavedValues(const std::string& content);
/// Reads and parses a file of saved values. The error names the file.
client::Result<std::vector<client::Property>> ReadSavedValues(const std::string& name);

}  // namespace vantry::cli
