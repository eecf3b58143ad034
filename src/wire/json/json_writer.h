#pragma once

#include <string>

#include "wire/json/json_value.h"

namespace vantry {

/// Appends the value as one line of text: one space after a colon, none after a comma, keys in
/// order, floating-point numbers in fixed notation with 8 digits after the point. Strings and keys
/// are written unchanged: the caller must have escaped them (see EscapeJsonText).
void WriteJsonValue(std::string& text, const JsonValue& value);

/// Does the same for an object.
void WriteJsonObject(std::string& text, const JsonObject& object);

}  // namespace vantry
