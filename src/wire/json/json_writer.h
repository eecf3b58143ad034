#pragma once

#include <string>

#include "wire/json/json_value.h"

namespace vantry {

/// Appends the value as one line of text: one space behind a colon, none behind a comma, keys in
/// order, numbers with a point in fixed notation with 8 digits. Strings and keys go out as they
/// are: escaping is the duty of whoever put them there (EscapeJsonText).
void WriteJsonValue(std::string& text, const JsonValue& value);

/// The same for an object alone.
void WriteJsonObject(std::string& text, const JsonObject& object);

}  // namespace vantry
