#pragma once

#include <filesystem>
#include <optional>

namespace vantry::cli {

/// Returns in how many days the first certificate of a PEM file ends, negative if it has. Returns
/// nothing if the file can't be read as one.
std::optional<int> DaysLeft(const std::filesystem::path& file);

}  // namespace vantry::cli
