#pragma once

#include <string>
#include <vector>

#include "client/property.h"
#include "client/result.h"

namespace vantry::cli {

/// Returns the content of a file of saved values: a JSON document with a line for each property.
std::string SavedValues(const std::vector<client::Property>& properties, const std::string& hub);
/// Returns the properties of such a content. Returns Refused if it isn't one.
client::Result<std::vector<client::Property>> ParseSavedValues(const std::string& content);
/// Reads and parses a file of saved values. The error names the file.
client::Result<std::vector<client::Property>> ReadSavedValues(const std::string& name);

}  // namespace vantry::cli
