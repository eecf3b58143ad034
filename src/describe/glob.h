#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "client/property.h"

namespace vantry::describe {

/// Whether letters of ASCII must agree in case. Letters beyond ASCII always must.
enum class LetterCase { Exact, Ignored };

/// Returns whether the whole text matches the glob. "*" stands for any text, slashes included, and
/// "?" for one character of UTF-8; every other character stands for itself, brackets and
/// backslashes too. Takes a time in proportion to the product of both lengths at most, so a glob
/// may come from a stranger. Thread-safe.
bool GlobMatches(std::string_view glob, std::string_view text, LetterCase letters);

/// Returns whether a glob such as "Sensors/*" matches "Name", "Group/Name", "Component/Group/Name"
/// or "COMPONENT-GUID/GROUP-GUID/GUID" of the property. Thread-safe.
bool GlobNames(std::string_view glob, const client::Property& property, LetterCase letters);

/// A number for the properties that a glob names, as options give it.
struct GlobNumber {
    std::string glob;
    double number = 0;
};
/// Splits "GLOB=NUMBER" at its last "=". Returns nothing if there is none, or if the number is
/// negative or none, see NumberIn. Thread-safe.
std::optional<GlobNumber> GlobNumberIn(const std::string& text);

}  // namespace vantry::describe
