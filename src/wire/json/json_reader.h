#pragma once

#include <string_view>

#include "wire/json/json_value.h"

namespace vantry {

/// The tree of a text, up to its first zero byte, in the language of JsonScanner and this grammar:
/// one value of any type; keys of either quoting, of which the first of equals wins; and a comma
/// directly behind an opening bracket counts for nothing.
///
/// A text that isn't of the language gives Null, as the text `null` does, and one line on standard
/// error: "error: syntax error", or "error: memory exhausted" for one that is nested too deeply.
/// Keeps no state between calls.
JsonValue ParseJsonString(std::string_view text);

/// The same without a word on standard error: what it would have said, or empty and the tree.
std::string_view ParseJson(std::string_view text, JsonValue& value);

}  // namespace vantry
