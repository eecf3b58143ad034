#pragma once

#include <string_view>

#include "wire/property_message.h"

namespace vantry::client {

/// Puts what a text that is no good document was meant to hold into `message`.
///
/// The hub passes names and forwarded writes on without escaping them, so one property with a
/// double quote in its name spoils the text of every message that it stands in, and so does one
/// write with a quote. The order of the fields is fixed, and what stands between them tells them
/// apart well enough. Only a text that begins as an answer gives an answer, and only one that
/// begins as a write gives writes; of any other text nothing is taken.
void Recover(std::string_view text, PropertyMessage& message);

}  // namespace vantry::client
