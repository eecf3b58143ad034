#pragma once

#include <deque>
#include <string_view>

#include "wire/property_records.h"

namespace vantry::client {

/// The records of an answer or a publication that is no good document.
///
/// The hub passes names on without escaping them, so one property with a double quote in its name
/// spoils the text of every message that it stands in. The order of the fields is fixed, and what
/// stands between them tells them apart well enough.
std::deque<PropertyResponse> RecoverResponses(std::string_view text);

}  // namespace vantry::client
