#pragma once

#include <string_view>

#include "wire/json/json_value.h"

namespace vantry {

/// Returns the tree of a text, which ends at its first zero byte. The tokens are those of
/// JsonScanner. The text is one value of any type; keys have quotes of either kind, and the first
/// of equal keys counts; a comma directly after an opening bracket is ignored.
///
/// For a text that doesn't follow the grammar, returns Null, as for the text `null`. Thread-safe.
JsonValue ParseJsonString(std::string_view text);

/// Does the same and distinguishes the two cases. Returns an empty text and the tree in `value`, or
/// the message of the failure, with `value` unchanged: "syntax error", or "memory exhausted" if the
/// text is nested too deeply.
[[nodiscard]] std::string_view ParseJson(std::string_view text, JsonValue& value);

}  // namespace vantry
