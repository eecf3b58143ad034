#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "client/property.h"

namespace vantry::cli {

/// How many columns the text takes on a terminal: wide characters take two, combining ones none,
/// and what isn't UTF-8 is taken byte for byte.
std::size_t ColumnsOf(std::string_view text);
/// The text cut or filled up with blanks to exactly so many columns. A cut one ends in "…".
std::string Fitted(std::string_view text, std::size_t columns);
/// The text with everything that would move a terminal's cursor made visible.
std::string Printable(std::string_view text);

/// The property as JSON, valid whatever bytes it holds: what isn't UTF-8 becomes U+FFFD.
std::string ToJson(const client::Property& property);
/// A JSON string with its quotes.
std::string JsonString(const std::string& text);

/// What a person calls a property: "Group/Name", with the component in front if asked for.
std::string DisplayName(const client::Property& property, bool withComponent);

}  // namespace vantry::cli
