#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vantry {

/// The value of a key in a file of lines `key="value"`, or "Error" for every failure.
///
/// The first line that holds the key anywhere decides. The value runs from behind the first double
/// quote after the "=" to the last character of the line that is no double quote, backslash or line
/// end, so its closing quote may be missing.
std::string ReadQuotedIniValue(const std::filesystem::path& path, std::string_view key);

}  // namespace vantry
