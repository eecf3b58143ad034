#pragma once

#include <string>

namespace vantry::cli {

/// Returns whether the first value stands before the second one: numbers by size, then texts in
/// alphabetical order without regard to upper and lower case.
bool IsLessValue(const std::string& one, const std::string& other);

}  // namespace vantry::cli
