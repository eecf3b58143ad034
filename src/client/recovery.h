#pragma once

#include <string_view>

#include "wire/property_message.h"

namespace vantry::client {

/// Extracts the records or writes of a text that isn't valid JSON into `message`.
///
/// The hub sends names and forwarded writes without escaping them, so a double quote in one name or
/// one write makes the whole text invalid. Since the order of the fields is fixed, the bytes
/// between the values suffice to separate them. A text that begins as an answer gives an answer,
/// and one that begins as a forwarded write gives writes. Any other text leaves `message`
/// unchanged.
void Recover(std::string_view text, PropertyMessage& message);

}  // namespace vantry::client
