#pragma once

#include <string>
#include <string_view>

#include "platform/file_system.h"

namespace vantry {

/// Returns the value of a key in a file of lines `key="value"`, or "Error" for every failure.
///
/// The first line that holds the key anywhere decides. The value runs from after the first double
/// quote after the "=" to the last character of the line that is no double quote, backslash or line
/// end, so its closing quote may be missing.
std::string ReadQuotedIniValue(FileSystem& files, std::u16string_view name, std::string_view key);

}  // namespace vantry
